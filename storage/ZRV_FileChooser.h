#pragma once

#include <QFileDialog>
#include <QQueue>
#include <QString>
#include <QStringList>

// The storage pages ask here for local file and folder names. A test presets
// the next answers instead of driving the toolkit's dialogs; with nothing
// preset the real dialogs open. An empty preset answers as a cancel would.
class ZRV_FileChooser
{
public:
    static QStringList getOpenFileNames(QWidget *parent, const QString &caption, const QString &dir,
                                        const QString &filter);
    static QString getOpenFileName(QWidget *parent, const QString &caption, const QString &dir,
                                   const QString &filter);
    static QString getExistingDirectory(QWidget *parent, const QString &caption, const QString &dir);
    static QString getSaveFileName(QWidget *parent, const QString &caption, const QString &dir,
                                   const QString &filter, QFileDialog::Options options);

    static void setNextAnswer(const QStringList &answer);
    static void setNextAnswer(const QString &answer) { setNextAnswer(answer.isEmpty() ? QStringList() : QStringList(answer)); }
    // What the last call was asked: caption and start directory.
    static QString lastCaption();
    static QString lastDirectory();
    static void clear();

private:
    static bool takePreset(const QString &caption, const QString &dir, QStringList *answer);
};
