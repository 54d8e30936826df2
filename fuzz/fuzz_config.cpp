// The configuration document: apply, write, apply again. Writing normalises, so the values
// read back from the written document must write the very same document again.
#include "config/configdocument.h"

#include <QJsonDocument>

#include <cstdlib>

namespace {

ConfigValues withoutIds(ConfigValues values)
{
    for (Fallback &f : values.fallbacks)
        f.id.clear();
    for (BotProfile &p : values.botProfiles) {
        for (Fallback &f : p.fallbacks)
            f.id.clear();
    }
    return values;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QJsonDocument parsed = QJsonDocument::fromJson(
        QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size)));
    if (!parsed.isObject())
        return 0;

    QJsonObject first = parsed.object();
    ConfigValues values = ConfigDocument::read(first);
    ConfigDocument::write(values, first);

    QJsonObject second = first;
    ConfigValues again = ConfigDocument::read(second);
    ConfigDocument::write(again, second);

    if (first != second)
        std::abort();
    if (!(withoutIds(ConfigDocument::read(second)) == withoutIds(again)))
        std::abort();
    // The bytes on disk parse back into the same object.
    if (QJsonDocument::fromJson(ConfigDocument::serialise(second)).object() != second)
        std::abort();
    return 0;
}
