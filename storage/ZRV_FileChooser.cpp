#include "ZRV_FileChooser.h"

namespace {
QQueue<QStringList> &presets()
{
    static QQueue<QStringList> queue;
    return queue;
}
QString &lastCaptionText()
{
    static QString text;
    return text;
}
QString &lastDirectoryText()
{
    static QString text;
    return text;
}
} // namespace

bool ZRV_FileChooser::takePreset(const QString &caption, const QString &dir, QStringList *answer)
{
    lastCaptionText() = caption;
    lastDirectoryText() = dir;
    if (presets().isEmpty())
        return false;
    *answer = presets().dequeue();
    return true;
}

QStringList ZRV_FileChooser::getOpenFileNames(QWidget *parent, const QString &caption, const QString &dir,
                                              const QString &filter)
{
    QStringList answer;
    if (takePreset(caption, dir, &answer))
        return answer;
    return QFileDialog::getOpenFileNames(parent, caption, dir, filter);
}

QString ZRV_FileChooser::getOpenFileName(QWidget *parent, const QString &caption, const QString &dir,
                                         const QString &filter)
{
    QStringList answer;
    if (takePreset(caption, dir, &answer))
        return answer.value(0);
    return QFileDialog::getOpenFileName(parent, caption, dir, filter);
}

QString ZRV_FileChooser::getExistingDirectory(QWidget *parent, const QString &caption, const QString &dir)
{
    QStringList answer;
    if (takePreset(caption, dir, &answer))
        return answer.value(0);
    return QFileDialog::getExistingDirectory(parent, caption, dir);
}

QString ZRV_FileChooser::getSaveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                         const QString &filter, QFileDialog::Options options)
{
    QStringList answer;
    if (takePreset(caption, dir, &answer))
        return answer.value(0);
    return QFileDialog::getSaveFileName(parent, caption, dir, filter, nullptr, options);
}

void ZRV_FileChooser::setNextAnswer(const QStringList &answer)
{
    presets().enqueue(answer);
}

QString ZRV_FileChooser::lastCaption()
{
    return lastCaptionText();
}

QString ZRV_FileChooser::lastDirectory()
{
    return lastDirectoryText();
}

void ZRV_FileChooser::clear()
{
    presets().clear();
    lastCaptionText().clear();
    lastDirectoryText().clear();
}
