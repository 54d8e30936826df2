#include "skills/skillpreview.h"

#include "skills/skillcatalog.h"
#include "skills/skillfile.h"

using namespace Qt::Literals::StringLiterals;

namespace SkillPreview {

Preview make(const QString &stem, const QString &source, const QByteArray &bytes)
{
    Preview preview;
    preview.fileName = stem + u".md"_s;
    preview.source = source;
    preview.size = bytes.size();
    // The title and description come from the text exactly as the listing will read the file.
    const SkillInfo info = SkillFile::parse(stem, SkillFile::decode(bytes), {});
    preview.title = info.title;
    preview.description = info.description;

    // The lines themselves are shown even when the file is not valid UTF-8, with replacement
    // characters where it is not, so the user can see what they would install.
    const QString text = QString::fromUtf8(bytes);
    if (text.isEmpty())
        return preview;
    QStringList lines = text.split(u'\n');
    if (text.endsWith(u'\n'))
        lines.removeLast();
    preview.lineCount = lines.size();
    for (qsizetype i = 0; i < lines.size() && i < shownLines; ++i) {
        QString line = lines.at(i);
        if (line.endsWith(u'\r'))
            line.chop(1);
        if (line.size() > shownLineLength)
            line = SkillCatalog::firstCharacters(line, shownLineLength) + u'…';
        preview.lines.append(line);
    }
    return preview;
}

QString sizeText(qint64 bytes)
{
    return QString::number(bytes) + (bytes == 1 ? u" byte"_s : u" bytes"_s);
}

QString linesCaption(const Preview &preview)
{
    if (preview.lineCount == 0)
        return u"The file is empty."_s;
    if (preview.lineCount <= shownLines)
        return u"All "_s + QString::number(preview.lineCount)
               + (preview.lineCount == 1 ? u" line:"_s : u" lines:"_s);
    return u"First "_s + QString::number(shownLines) + u" of "_s
           + QString::number(preview.lineCount) + u" lines:"_s;
}

} // namespace SkillPreview
