#include "config/configdocument.h"
#include "config/configtypes.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>

#include <functional>

using namespace Qt::Literals::StringLiterals;

// Every line of the key list reaches the file: a value other than the one read is written,
// read back as written, and counted as the user's change (so that a save onto another writer's
// file keeps it). A key added to the list but not to the document's tables fails here.
namespace {

QString other(const QString &)
{
    return u"7"_s;
}
bool other(bool value)
{
    return !value;
}
QStringList other(const QStringList &)
{
    return {u"7:other"_s};
}
QList<Fallback> other(const QList<Fallback> &)
{
    Fallback backup = Fallback::create();
    backup.name = u"Other"_s;
    backup.base_url = u"http://127.0.0.1:9/v1"_s;
    backup.api_key = u"sk-other"_s;
    backup.model = u"other-model"_s;
    return {backup};
}
QList<BotProfile> other(const QList<BotProfile> &)
{
    BotProfile profile;
    profile.model = u"other-model"_s;
    return {profile};
}

template <typename T> bool same(const T &a, const T &b)
{
    return a == b;
}
bool same(const QList<Fallback> &a, const QList<Fallback> &b)
{
    return a.size() == b.size()
           && std::equal(a.begin(), a.end(), b.begin(),
                         [](const Fallback &x, const Fallback &y) { return x.sameValues(y); });
}

struct KeyCase {
    const char *member;
    std::function<void(ConfigValues &)> change;
    std::function<bool(const ConfigValues &, const ConfigValues &)> same;
};

const QList<KeyCase> &keyCases()
{
    static const QList<KeyCase> cases = {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial)                                            \
    {#member, [](ConfigValues &v) { v.member = other(v.member); },                                 \
     [](const ConfigValues &a, const ConfigValues &b) { return same(a.member, b.member); }},
#include "config/configkeys.def"
#undef VARNOOK_CONFIG_KEY
    };
    return cases;
}

// What a file with one bot reads as: the values every case starts from.
ConfigValues withOneBot()
{
    return ConfigDocument::read(QJsonObject{{u"bot_tokens"_s, QJsonArray{u"1:first"_s}},
                                            {u"bot_nicknames"_s, QJsonArray{u""_s}}});
}

} // namespace

class TestConfigKeys final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyKeyIsWrittenAndReadBack_data()
    {
        QTest::addColumn<int>("index");
        for (qsizetype i = 0; i < keyCases().size(); ++i)
            QTest::newRow(keyCases().at(i).member) << int(i);
    }
    void everyKeyIsWrittenAndReadBack()
    {
        QFETCH(int, index);
        const KeyCase &key = keyCases().at(index);
        const ConfigValues base = withOneBot();
        ConfigValues values = base;
        key.change(values);
        QVERIFY(!key.same(values, base));

        QJsonObject document;
        ConfigDocument::write(values, document);
        const ConfigValues back = ConfigDocument::read(document);
        QVERIFY2(key.same(back, values), key.member);
    }

    void everyKeyCountsAsAChange_data() { everyKeyIsWrittenAndReadBack_data(); }
    void everyKeyCountsAsAChange()
    {
        QFETCH(int, index);
        const KeyCase &key = keyCases().at(index);
        const ConfigValues base = withOneBot();
        ConfigValues values = base;
        key.change(values);
        QVERIFY2(!ConfigDocument::changedKeys(base, values).isEmpty(), key.member);
    }
};

QTEST_GUILESS_MAIN(TestConfigKeys)
#include "tst_configkeys.moc"
