#ifndef QAWSEXCEPTION_H
#define QAWSEXCEPTION_H

#include <QByteArray>
#include <QException>
#include <QMetaType>
#include <QString>

// The one failure type of the storage library. `code` is the HTTP status of the
// store (or a transport code), `name` the store's error code, `message` the text
// a user is shown.
class QAWSException : public QException
{
public:
    QAWSException() = default;
    QAWSException(int code, const QString &name, const QString &message);
    QAWSException(const QAWSException &other);
    QAWSException &operator=(const QAWSException &other);
    ~QAWSException() override;

    const char *what() const noexcept override;

    qint32 code = 0;
    QString name;
    QString message;

private:
    // what() hands out a pointer that must outlive the call.
    mutable QByteArray m_what;
};

Q_DECLARE_METATYPE(QAWSException)

#endif // QAWSEXCEPTION_H
