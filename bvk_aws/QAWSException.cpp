#include "QAWSException.h"

QAWSException::QAWSException(int code, const QString &name, const QString &message)
    : code(code)
    , name(name)
    , message(message)
{
}

QAWSException::QAWSException(const QAWSException &other)
    : QException(other)
    , code(other.code)
    , name(other.name)
    , message(other.message)
{
}

QAWSException &QAWSException::operator=(const QAWSException &other)
{
    QException::operator=(other);
    code = other.code;
    name = other.name;
    message = other.message;
    m_what.clear();
    return *this;
}

QAWSException::~QAWSException() = default;

const char *QAWSException::what() const noexcept
{
    if (message.isEmpty() && name.isEmpty())
        return "Unknown exception";
    m_what = (message.isEmpty() ? name : message).toUtf8();
    return m_what.constData();
}
