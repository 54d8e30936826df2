#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// What the user is shown before installing a skill: the downloaded file as the Skills page will
// read it once installed, where it came from, how big it is, and the start of its text. Built
// from the bytes install would write; the window's preview sheet and `varnookctl skills show`
// show the same record.
namespace SkillPreview {

constexpr qsizetype shownLines = 40;
// A line longer than this is cut for the preview; a minified or binary file would otherwise lay
// out one enormous line.
constexpr qsizetype shownLineLength = 400;

struct Preview {
    QString fileName;    // "<stem>.md", the name install writes it under
    QString title;       // as the Skills page will show it
    QString description; // one line; may be empty
    QString source;      // the address it was downloaded from
    qint64 size = 0;     // bytes
    QStringList lines;   // the first shownLines lines, carriage returns at their ends removed
    qsizetype lineCount = 0;
};

// `stem` is the installed file's name without ".md".
Preview make(const QString &stem, const QString &source, const QByteArray &bytes);

// "2431 bytes", "1 byte".
QString sizeText(qint64 bytes);
// "First 40 of 112 lines", "All 12 lines", "The file is empty".
QString linesCaption(const Preview &preview);

} // namespace SkillPreview
