#include "config/configdocument.h"
#include "config/configtypes.h"
#include "ctl/ctlprocess.h"
#include "support/testsupport.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// Every line of the per-bot key list reaches the bot's object in the file: a value of the bot's
// own is written under the key's name and read back; a value equal to the default, or an empty
// one, is left out; and "varnookctl keys --bot" lists the key with its kind and meaning. A bot
// that overrides everything (tests/fixtures/config/every-bot-key.json) names every key of the
// list, so a line missing from the list is a key of that file this program no longer reads.
namespace {

struct BotKeyCase {
    const char *member;
    QString BotProfile::*field;
    QString ConfigValues::*inherits;
    QString json;
    QString fileKind; // Words, Ids, Text, Trimmed or Own
    QString ctlKind;  // as "varnookctl keys --bot" names it
    QString meaning;
};

const QList<BotKeyCase> &botKeyCases()
{
    static const QList<BotKeyCase> cases = {
#define VARNOOK_BOT_KEY(member, json, fileKind, ctlKind, inherits, meaning)                        \
    {#member,                                                                                      \
     &BotProfile::member,                                                                          \
     &ConfigValues::inherits,                                                                      \
     QStringLiteral(json),                                                                         \
     QStringLiteral(#fileKind),                                                                    \
     QStringLiteral(#ctlKind).toLower(),                                                           \
     QStringLiteral(meaning)},
#include "config/botkeys.def"
#undef VARNOOK_BOT_KEY
    };
    return cases;
}

// A bot's own value of the key, as the window or varnookctl holds it, and how it lands in the
// file.
struct Own {
    QString text;
    QJsonValue written;
};

Own ownValue(const BotKeyCase &key)
{
    if (key.fileKind == u"Words"_s) // one comma-joined string, without blanks
        return {u" alpha , beta "_s, u"alpha,beta"_s};
    if (key.fileKind == u"Ids"_s)
        return {u"42, -7"_s, QJsonArray{42, -7}};
    if (key.fileKind == u"Trimmed"_s)
        return {u"  https://own.test/v1\n"_s, u"https://own.test/v1"_s};
    return {u"07:30"_s, u"07:30"_s};
}

// The same value as the file holds it when this program reads it, and what it reads as.
std::pair<QJsonValue, QString> fileValue(const BotKeyCase &key)
{
    if (key.fileKind == u"Words"_s) // read only from an array of strings
        return {QJsonArray{u"alpha"_s, u"beta"_s}, u"alpha, beta"_s};
    if (key.fileKind == u"Ids"_s)
        return {QJsonArray{42, -7}, u"42, -7"_s};
    if (key.fileKind == u"Trimmed"_s)
        return {u" https://own.test/v1\n"_s, u"https://own.test/v1"_s};
    return {u"07:30"_s, u"07:30"_s};
}

// A file with one bot and a default for every key a bot may override.
QJsonObject oneBot(const QJsonObject &profile = {})
{
    return QJsonObject{{u"bot_tokens"_s, QJsonArray{u"1:first"_s}},
                       {u"bot_nicknames"_s, QJsonArray{u""_s}},
                       {u"bot_profiles"_s, QJsonArray{profile}},
                       {u"allowed_ids"_s, QJsonArray{512807364}},
                       {u"trigger_words"_s, QJsonArray{u"hey bot"_s}},
                       {u"clip_trigger_words"_s, QJsonArray{u"clip"_s}},
                       {u"briefing_time"_s, u"08:00"_s},
                       {u"briefing_prompt"_s, u"News and weather"_s},
                       {u"bot_mode"_s, u"assistant"_s},
                       {u"soul_file"_s, u"~/.zandrel/soul.md"_s},
                       {u"base_url"_s, u"http://127.0.0.1:11234/v1"_s},
                       {u"api_key"_s, u"sk-default"_s},
                       {u"model"_s, u"default-model"_s}};
}

QJsonObject firstBot(const QJsonObject &document)
{
    return document.value(u"bot_profiles"_s).toArray().first().toObject();
}

QJsonObject everyBotKey()
{
    return QJsonDocument::fromJson(
               TestSupport::readFile(TestSupport::fixture(u"config/every-bot-key.json"_s)))
        .object();
}

} // namespace

class TestBotKeys final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyBotKeyIsWrittenUnderItsName_data()
    {
        QTest::addColumn<int>("index");
        for (qsizetype i = 0; i < botKeyCases().size(); ++i)
            QTest::newRow(botKeyCases().at(i).member) << int(i);
    }
    // The bot's own value lands in its object under the key's name, and nothing else changes.
    void everyBotKeyIsWrittenUnderItsName()
    {
        QFETCH(int, index);
        const BotKeyCase &key = botKeyCases().at(index);
        QJsonObject before = oneBot();
        const ConfigValues base = ConfigDocument::read(before);
        ConfigValues values = base;
        ConfigDocument::write(values, before);
        QCOMPARE(firstBot(before), QJsonObject());

        QJsonObject document = before;
        const Own own = ownValue(key);
        values.botProfiles[0].*key.field = own.text;
        ConfigDocument::write(values, document);
        QCOMPARE(firstBot(document), (QJsonObject{{key.json, own.written}}));
        document.insert(u"bot_profiles"_s, before.value(u"bot_profiles"_s));
        QCOMPARE(document, before);
    }

    void everyBotKeyIsReadBack_data() { everyBotKeyIsWrittenUnderItsName_data(); }
    // A bot's object with the key reads as the bot's own value of it, and only of it.
    void everyBotKeyIsReadBack()
    {
        QFETCH(int, index);
        const BotKeyCase &key = botKeyCases().at(index);
        const auto [inFile, readAs] = fileValue(key);
        const ConfigValues values = ConfigDocument::read(oneBot({{key.json, inFile}}));
        QCOMPARE(values.botProfiles.size(), 1);
        BotProfile expected;
        expected.*key.field = readAs;
        QCOMPARE(values.botProfiles.first().*key.field, readAs);
        QVERIFY2(values.botProfiles.first() == expected, key.member);
    }

    void aBotKeyEqualToItsDefaultIsLeftOut_data() { everyBotKeyIsWrittenUnderItsName_data(); }
    // A bot whose value is the one it would inherit stores nothing, and follows the default
    // when the default changes later; only the persona file, which is not compared, stays.
    void aBotKeyEqualToItsDefaultIsLeftOut()
    {
        QFETCH(int, index);
        const BotKeyCase &key = botKeyCases().at(index);
        QJsonObject document = oneBot({{key.json, ownValue(key).written}});
        ConfigValues values = ConfigDocument::read(document);
        const QString inherited = values.*key.inherits;
        QVERIFY2(!inherited.isEmpty(), key.member);
        values.botProfiles[0].*key.field = inherited;
        ConfigDocument::write(values, document);
        if (key.fileKind == u"Own"_s)
            QCOMPARE(firstBot(document), (QJsonObject{{key.json, inherited}}));
        else
            QCOMPARE(firstBot(document), QJsonObject());
    }

    void anEmptyBotKeyIsLeftOut_data() { everyBotKeyIsWrittenUnderItsName_data(); }
    // Empty means "inherits the default": the key leaves the bot's object.
    void anEmptyBotKeyIsLeftOut()
    {
        QFETCH(int, index);
        const BotKeyCase &key = botKeyCases().at(index);
        QJsonObject document = oneBot({{key.json, ownValue(key).written}, {u"kept"_s, 1}});
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[0].*key.field = QString();
        ConfigDocument::write(values, document);
        QCOMPARE(firstBot(document), (QJsonObject{{u"kept"_s, 1}}));
    }

    void everyBotKeyCountsAsAChange_data() { everyBotKeyIsWrittenUnderItsName_data(); }
    // A change is named as the file names it, so that a save onto another writer's file keeps it.
    void everyBotKeyCountsAsAChange()
    {
        QFETCH(int, index);
        const BotKeyCase &key = botKeyCases().at(index);
        const ConfigValues base = ConfigDocument::read(oneBot());
        ConfigValues values = base;
        values.botProfiles[0].*key.field = ownValue(key).text;
        QCOMPARE(ConfigDocument::changedKeys(base, values),
                 QStringList{u"bot_profiles[0]."_s + key.json});
    }

    // A bot that overrides everything: every key of its object other than its backup models
    // and skills is a line of the list, each is read, and each is written again.
    void aBotThatOverridesEverythingKeepsEveryKey()
    {
        const QJsonObject file = everyBotKey();
        const QJsonObject bot = firstBot(file);
        QStringList inFile = bot.keys();
        inFile.removeOne(u"fallbacks"_s);
        inFile.removeOne(u"enabled_skills"_s);
        QStringList listed;
        for (const BotKeyCase &key : botKeyCases())
            listed.append(key.json);
        for (const QString &name : inFile)
            QVERIFY2(listed.contains(name), qPrintable(name + u" is not a line of the list"_s));
        for (const QString &name : listed)
            QVERIFY2(inFile.contains(name), qPrintable(name + u" is not in the file"_s));

        const ConfigValues values = ConfigDocument::read(file);
        for (const BotKeyCase &key : botKeyCases()) {
            QVERIFY2(!(values.botProfiles.first().*key.field).isEmpty(), key.member);
            QVERIFY2(values.botProfiles.first().*key.field != values.*key.inherits, key.member);
        }
        ConfigValues copy = values;
        QJsonObject written;
        ConfigDocument::write(copy, written);
        QCOMPARE(firstBot(written).keys(), bot.keys());
    }

    // "varnookctl keys --bot" lists the bot's token and nickname, every line of the list with its
    // kind and meaning as something the bot inherits, then its backup models and skills.
    void varnookctlListsEveryBotKey()
    {
        CtlProcess ctl;
        const CtlResult result = ctl.runRaw({u"keys"_s, u"--bot"_s, u"--json"_s});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        const QJsonArray rows = QJsonDocument::fromJson(result.out).array();
        QStringList names;
        for (const QJsonValue &row : rows)
            names.append(row.toObject().value(u"key"_s).toString());
        QStringList expected{u"token"_s, u"nickname"_s};
        for (const BotKeyCase &key : botKeyCases())
            expected.append(key.json);
        expected.append({u"fallbacks"_s, u"enabled_skills"_s});
        QCOMPARE(names, expected);

        for (const BotKeyCase &key : botKeyCases()) {
            const QJsonObject row = rows.at(names.indexOf(key.json)).toObject();
            QCOMPARE(row.value(u"kind"_s).toString(), key.ctlKind);
            QCOMPARE(row.value(u"meaning"_s).toString(), key.meaning);
            QCOMPARE(row.value(u"inherits"_s), QJsonValue(true));
        }
    }
};

QTEST_GUILESS_MAIN(TestBotKeys)
#include "tst_botkeys.moc"
