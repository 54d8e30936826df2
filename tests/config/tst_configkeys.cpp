#include "config/configdocument.h"
#include "config/configtypes.h"
#include "ctl/ctlprocess.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

#include <functional>

using namespace Qt::Literals::StringLiterals;

// Every line of the key list reaches the file: a value other than the one read is written under
// the key's name, read back as written, and counted as the user's change (so that a save onto
// another writer's file keeps it); a file without the key reads as the key's default; and
// varnookctl lists the key with its kind, default and meaning.
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
    QString json;
    ConfigKind kind;
    QJsonValue fileDefault;
    QString meaning;
};

const QList<KeyCase> &keyCases()
{
    static const QList<KeyCase> cases = {
#define VARNOOK_CONFIG_KEY(Type, member, Name, initial, json, kind, fileDefault, meaning)          \
    {#member,                                                                                      \
     [](ConfigValues &v) { v.member = other(v.member); },                                          \
     [](const ConfigValues &a, const ConfigValues &b) { return same(a.member, b.member); },        \
     QStringLiteral(json),                                                                         \
     ConfigKind::kind,                                                                             \
     fileDefault,                                                                                  \
     QStringLiteral(meaning)},
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

// What "varnookctl keys" shows as the kind of a key of the list.
QString kindName(ConfigKind kind)
{
    switch (kind) {
    case ConfigKind::Text:
    case ConfigKind::Trimmed:
    case ConfigKind::TextOrRemoved: return u"text"_s;
    case ConfigKind::Time: return u"time"_s;
    case ConfigKind::Words: return u"words"_s;
    case ConfigKind::Ids: return u"ids"_s;
    case ConfigKind::Number: return u"number"_s;
    case ConfigKind::Flag: return u"boolean"_s;
    case ConfigKind::Providers: return u"providers"_s;
    case ConfigKind::Bots: return u"bots"_s;
    case ConfigKind::Sources: return u"repos"_s;
    }
    return {};
}

// What "varnookctl keys" shows as the value "unset" writes: the value of a file without the key.
QString unsetText(const KeyCase &key)
{
    switch (key.kind) {
    case ConfigKind::Number: return QString::number(key.fileDefault.toInteger());
    case ConfigKind::Flag: return key.fileDefault.toBool() ? u"true"_s : u"false"_s;
    case ConfigKind::Providers: return u"(no backup models)"_s;
    case ConfigKind::Bots: return u"(cannot be unset)"_s;
    case ConfigKind::Sources: return u"(no extra sources)"_s;
    case ConfigKind::Text:
    case ConfigKind::Trimmed:
    case ConfigKind::TextOrRemoved:
    case ConfigKind::Time:
    case ConfigKind::Words:
    case ConfigKind::Ids: break;
    }
    const QString text = key.fileDefault.toString();
    return text.isEmpty() ? u"(empty)"_s : text;
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

    // A change is named as the file names it: the key itself, or one bot's entry of a bot list.
    void everyChangeIsNamedByTheKey_data() { everyKeyIsWrittenAndReadBack_data(); }
    void everyChangeIsNamedByTheKey()
    {
        QFETCH(int, index);
        const KeyCase &key = keyCases().at(index);
        const ConfigValues base = withOneBot();
        ConfigValues values = base;
        key.change(values);
        const QStringList changed = ConfigDocument::changedKeys(base, values);
        QVERIFY(!changed.isEmpty());
        for (const QString &name : changed) {
            QVERIFY2(name == key.json || name.startsWith(key.json + u'['), qPrintable(name));
        }
    }

    // The change lands in the file under the key's name, and nowhere else.
    void everyKeyIsWrittenUnderItsName_data() { everyKeyIsWrittenAndReadBack_data(); }
    void everyKeyIsWrittenUnderItsName()
    {
        QFETCH(int, index);
        const KeyCase &key = keyCases().at(index);
        ConfigValues base = withOneBot();
        ConfigValues values = base;
        key.change(values);

        QJsonObject before;
        ConfigDocument::write(base, before);
        QJsonObject after = before;
        ConfigDocument::write(values, after);
        QVERIFY(before.value(key.json) != after.value(key.json));
        after.insert(key.json, before.value(key.json));
        if (key.json == u"bot_tokens"_s) // older versions read the first token from "bot_token"
            after.insert(u"bot_token"_s, before.value(u"bot_token"_s));
        QCOMPARE(after, before);
    }

    // A file without the key reads as the key's default; the window starts from its own
    // initial value only when no file could be read.
    // (The bot lists are not: their lengths follow the token list.)
    void aFileWithoutTheKeyReadsAsItsDefault_data()
    {
        QTest::addColumn<int>("index");
        for (qsizetype i = 0; i < keyCases().size(); ++i) {
            if (keyCases().at(i).kind != ConfigKind::Bots)
                QTest::newRow(keyCases().at(i).member) << int(i);
        }
    }
    void aFileWithoutTheKeyReadsAsItsDefault()
    {
        QFETCH(int, index);
        const KeyCase &key = keyCases().at(index);
        ConfigValues values = withOneBot();
        key.change(values);
        QJsonObject document;
        ConfigDocument::write(values, document);
        document.remove(key.json);
        const ConfigValues back = ConfigDocument::read(document);
        const ConfigValues empty = ConfigDocument::read(QJsonObject());
        QVERIFY2(!key.same(values, empty), key.member);
        QVERIFY2(key.same(back, empty), key.member);
    }

    // "varnookctl keys" lists every key of the list once, with its kind, what "unset" writes
    // and its meaning.
    void varnookctlListsEveryKey()
    {
        CtlProcess ctl;
        const CtlResult result = ctl.runRaw({u"keys"_s, u"--json"_s});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        const QJsonArray rows = QJsonDocument::fromJson(result.out).array();
        for (const KeyCase &key : keyCases()) {
            QJsonObject row;
            int found = 0;
            for (const QJsonValue &value : rows) {
                if (value.toObject().value(u"key"_s).toString() == key.json) {
                    row = value.toObject();
                    ++found;
                }
            }
            QVERIFY2(found == 1, qPrintable(key.json));
            QCOMPARE(row.value(u"kind"_s).toString(), kindName(key.kind));
            QCOMPARE(row.value(u"unset"_s).toString(), unsetText(key));
            QCOMPARE(row.value(u"meaning"_s).toString(), key.meaning);
        }
    }
};

QTEST_GUILESS_MAIN(TestConfigKeys)
#include "tst_configkeys.moc"
