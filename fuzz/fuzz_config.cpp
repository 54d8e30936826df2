// The configuration document: apply, write, and again. Writing normalises, so after at most two
// saves the document must stop changing, and the values read back must write the very same
// document again.
#include "config/configdocument.h"
#include "fuzzcheck.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace Qt::Literals::StringLiterals;

namespace {

ConfigValues withoutIds(ConfigValues values)
{
    for (Fallback &f : values.fallbacks)
        f.id = QUuid();
    for (BotProfile &p : values.botProfiles) {
        for (Fallback &f : p.fallbacks)
            f.id = QUuid();
    }
    return values;
}

// One load and save of the document.
QJsonObject saved(QJsonObject document)
{
    ConfigValues values = ConfigDocument::read(document);
    ConfigDocument::write(values, document);
    return document;
}

// A bot's own trigger words are written as one comma-joined string but read back only from an
// array of strings (the bot service reads them that way), so the next save drops them. That is
// the one change a second save may make.
QJsonObject withoutWrittenTriggerWords(QJsonObject document)
{
    QJsonArray profiles = document.value("bot_profiles"_L1).toArray();
    for (qsizetype i = 0; i < profiles.size(); ++i) {
        QJsonObject profile = profiles.at(i).toObject();
        for (const QLatin1StringView key : {"trigger_words"_L1, "clip_trigger_words"_L1}) {
            if (profile.value(key).isString())
                profile.remove(key);
        }
        profiles.replace(i, profile);
    }
    document.insert("bot_profiles"_L1, profiles);
    return document;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QJsonDocument parsed = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!parsed.isObject())
        return 0;

    const QJsonObject first = saved(parsed.object());
    const QJsonObject second = saved(first);
    FUZZ_CHECK(withoutWrittenTriggerWords(first) == second);
    const QJsonObject third = saved(second);
    FUZZ_CHECK(second == third);

    const ConfigValues values = ConfigDocument::read(second);
    FUZZ_CHECK(withoutIds(ConfigDocument::read(third)) == withoutIds(values));
    // The bytes on disk parse back into the same object.
    FUZZ_CHECK(QJsonDocument::fromJson(ConfigDocument::serialise(third)).object() == third);
    return 0;
}
