#include "config/configdocument.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

// The mapping between the JSON document and the values the pages edit, without any file.
class TestConfigDocument final : public QObject {
    Q_OBJECT

    // JSON written with single quotes, which read better inside C++ string literals.
    static QJsonObject parse(const char *json)
    {
        return QJsonDocument::fromJson(QByteArray(json).replace('\'', '"')).object();
    }

    // Reads, writes into the same object, and returns the written object.
    static QJsonObject roundTrip(QJsonObject document, ConfigValues *valuesOut = nullptr)
    {
        ConfigValues values = ConfigDocument::read(document);
        ConfigDocument::write(values, document);
        if (valuesOut)
            *valuesOut = values;
        return document;
    }

private Q_SLOTS:
    void legacySingleTokenGivesOneBotAndIsWrittenAsLists()
    {
        QJsonObject document = parse("{'bot_token': 'tok1'}");
        ConfigValues values = ConfigDocument::read(document);
        QCOMPARE(values.botTokens, QStringList{u"tok1"_s});
        QCOMPARE(values.botNicknames, QStringList{QString()});
        QCOMPARE(values.botProfiles.size(), 1);
        QCOMPARE(values.botProfiles.first(), BotProfile());

        ConfigDocument::write(values, document);
        QCOMPARE(document.value("bot_tokens"_L1).toArray(), QJsonArray{u"tok1"_s});
        QCOMPARE(document.value("bot_nicknames"_L1).toArray(), QJsonArray{u""_s});
        QCOMPARE(document.value("bot_profiles"_L1).toArray(), QJsonArray{QJsonObject()});
        QCOMPARE(document.value("bot_token"_L1).toString(), u"tok1"_s);
    }

    void legacyTokenAlreadyInListIsNotAddedTwice()
    {
        const auto values
            = ConfigDocument::read(parse("{'bot_tokens': ['tokA', 'tokB'], 'bot_token': 'tokB'}"));
        QCOMPARE(values.botTokens, (QStringList{u"tokA"_s, u"tokB"_s}));
    }

    void legacyTokenNotInListIsInsertedFirst()
    {
        const auto values
            = ConfigDocument::read(parse("{'bot_tokens': ['tokA', 'tokB'], 'bot_token': 'tokC'}"));
        QCOMPARE(values.botTokens, (QStringList{u"tokC"_s, u"tokA"_s, u"tokB"_s}));
        QCOMPARE(values.botNicknames.size(), 3);
        QCOMPARE(values.botProfiles.size(), 3);
    }

    void noBotsWritesAnEmptyLegacyToken()
    {
        const QJsonObject written = roundTrip(QJsonObject());
        QCOMPARE(written.value("bot_token"_L1), QJsonValue(u""_s));
        QCOMPARE(written.value("bot_tokens"_L1).toArray(), QJsonArray());
        QCOMPARE(written.value("bot_profiles"_L1).toArray(), QJsonArray());
    }

    void nicknamesLongerThanTokensAreCut()
    {
        const auto values = ConfigDocument::read(
            parse("{'bot_tokens': ['a'], 'bot_nicknames': ['One', 'Two', 'Three']}"));
        QCOMPARE(values.botNicknames, QStringList{u"One"_s});
    }

    void nicknamesShorterThanTokensArePadded()
    {
        const auto values = ConfigDocument::read(
            parse("{'bot_tokens': ['a', 'b', 'c'], 'bot_nicknames': ['One']}"));
        QCOMPARE(values.botNicknames, (QStringList{u"One"_s, QString(), QString()}));
    }

    void profilesBeyondTheTokensAreDroppedAndMissingOnesAreEmpty()
    {
        auto values = ConfigDocument::read(
            parse("{'bot_tokens': ['a', 'b'], 'bot_profiles': [{'model': 'm'}]}"));
        QCOMPARE(values.botProfiles.size(), 2);
        QCOMPARE(values.botProfiles.at(0).model, u"m"_s);
        QCOMPARE(values.botProfiles.at(1), BotProfile());

        values = ConfigDocument::read(
            parse("{'bot_tokens': ['a'], 'bot_profiles': [{'model': 'm'}, {'model': 'n'}]}"));
        QCOMPARE(values.botProfiles.size(), 1);
    }

    void numberKeyHoldingAStringReadsAsTheDefault()
    {
        const auto values = ConfigDocument::read(parse("{'max_tokens': '500'}"));
        QCOMPARE(values.maxTokens, u"350"_s);
    }

    void missingNumberKeysReadAsTheirDefaults()
    {
        const auto values = ConfigDocument::read(QJsonObject());
        QCOMPARE(values.maxTokens, u"350"_s);
        QCOMPARE(values.chatBufferMax, u"40"_s);
        QCOMPARE(values.recallLimit, u"5"_s);
        QCOMPARE(values.factCap, u"5000"_s);
        QCOMPARE(values.researchMaxTokens, u"1200"_s);
        QCOMPARE(values.apiTimeout, u"30"_s);
        QCOMPARE(values.baseURL, u"http://127.0.0.1:11234/v1"_s);
        QCOMPARE(values.briefingTime, u"08:00"_s);
        QCOMPARE(values.botMode, u"assistant"_s);
        QCOMPARE(values.soulFile, u"~/.zandrel/soul.md"_s);
        QCOMPARE(values.backfillMissed, true);
        QCOMPARE(values.briefingCrypto, false);
        QCOMPARE(values.autoMemory, true);
    }

    void numberTextIsTrimmedAndWritten()
    {
        QJsonObject document;
        ConfigValues values = ConfigDocument::read(document);
        values.maxTokens = u" 800 "_s;
        ConfigDocument::write(values, document);
        QCOMPARE(values.maxTokens, u"800"_s);
        QCOMPARE(document.value("max_tokens"_L1), QJsonValue(800));
    }

    void numberTextThatIsNotANumberFallsBackToTheLastIntegerRead()
    {
        QJsonObject document = parse("{'max_tokens': 1234}");
        ConfigValues values = ConfigDocument::read(document);
        values.maxTokens = u"abc"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(values.maxTokens, u"1234"_s);
        QCOMPARE(document.value("max_tokens"_L1), QJsonValue(1234));
    }

    void numberTextThatIsNotANumberFallsBackToTheDefaultWithoutAnInteger()
    {
        QJsonObject document = parse("{'max_tokens': 'lots'}");
        ConfigValues values = ConfigDocument::read(document);
        values.maxTokens = u"abc"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(values.maxTokens, u"350"_s);
        QCOMPARE(document.value("max_tokens"_L1), QJsonValue(350));
    }

    void numbersAreNotRangeChecked()
    {
        QJsonObject document;
        ConfigValues values;
        values.recallLimit = u"0"_s;
        values.apiTimeout = u"-7"_s;
        values.factCap = u"+12"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(document.value("recall_limit"_L1), QJsonValue(0));
        QCOMPARE(document.value("api_timeout"_L1), QJsonValue(-7));
        QCOMPARE(document.value("fact_cap"_L1), QJsonValue(12));
        QCOMPARE(values.factCap, u"12"_s);
    }

    void numberTextThatOverflowsIsNotANumber()
    {
        QCOMPARE(ConfigDocument::parseWholeInteger(u"9223372036854775807"_s),
                 std::optional<qint64>(std::numeric_limits<qint64>::max()));
        QCOMPARE(ConfigDocument::parseWholeInteger(u"-9223372036854775808"_s),
                 std::optional<qint64>(std::numeric_limits<qint64>::min()));
        QCOMPARE(ConfigDocument::parseWholeInteger(u"9223372036854775808"_s), std::nullopt);
        QCOMPARE(ConfigDocument::parseWholeInteger(u"-9223372036854775809"_s), std::nullopt);
        QCOMPARE(ConfigDocument::parseWholeInteger(u"12 3"_s), std::nullopt);
        QCOMPARE(ConfigDocument::parseWholeInteger(u"+"_s), std::nullopt);
        QCOMPARE(ConfigDocument::parseWholeInteger(u"1e3"_s), std::nullopt);
        QCOMPARE(ConfigDocument::parseWholeInteger(u"٣"_s), std::nullopt); // Arabic-Indic three

        QJsonObject document;
        ConfigValues values;
        values.maxTokens = u"99999999999999999999"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(values.maxTokens, u"350"_s);
    }

    void allowedIdsKeepOnlyWholeIntegers()
    {
        QJsonObject document;
        ConfigValues values;
        values.allowedIDs = u"123, abc, -45"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(document.value("allowed_ids"_L1).toArray(), (QJsonArray{123, -45}));
    }

    void idListReadsIntegersOrStrings()
    {
        QCOMPARE(ConfigDocument::read(parse("{'allowed_ids': [1, -2]}")).allowedIDs, u"1, -2"_s);
        QCOMPARE(ConfigDocument::read(parse("{'allowed_ids': ['7', 'x']}")).allowedIDs, u"7, x"_s);
        QCOMPARE(ConfigDocument::read(parse("{'allowed_ids': [1, 'x']}")).allowedIDs, QString());
        QCOMPARE(ConfigDocument::read(parse("{'allowed_ids': 5}")).allowedIDs, QString());
    }

    // The digits are written by hand when a list is read, so the extremes are checked here.
    void idListTextWritesEveryIntegerExactly()
    {
        const auto ids
            = [](const char *json) { return ConfigDocument::read(parse(json)).allowedIDs; };
        QCOMPARE(ids("{'allowed_ids': [0, -0, 10, -100200300]}"), u"0, 0, 10, -100200300"_s);
        QCOMPARE(ids("{'allowed_ids': [9223372036854775807, -9223372036854775808]}"),
                 u"9223372036854775807, -9223372036854775808"_s);
        QCOMPARE(ids("{'allowed_ids': [1, 2.5]}"), QString());
        QCOMPARE(ids("{'allowed_ids': []}"), QString());
        QCOMPARE(ids("{'allowed_ids': ['only']}"), u"only"_s);
        QCOMPARE(ids("{'bot_tokens': ['t'], 'bot_profiles': [{'allowed_ids': [-1, 22]}]}"),
                 QString());
        QCOMPARE(ConfigDocument::read(
                     parse("{'bot_tokens': ['t'], 'bot_profiles': [{'allowed_ids': [-1, 22]}]}"))
                     .botProfiles.first()
                     .allowedIDs,
                 u"-1, 22"_s);
    }

    void listTextJoinsOnlyArraysOfStrings()
    {
        const auto words
            = [](const char *json) { return ConfigDocument::read(parse(json)).triggerWords; };
        QCOMPARE(words("{'trigger_words': ['hey']}"), u"hey"_s);
        QCOMPARE(words("{'trigger_words': ['hey', '', 'you there']}"), u"hey, , you there"_s);
        QCOMPARE(words("{'trigger_words': ['hey', 1]}"), QString());
        QCOMPARE(words("{'trigger_words': []}"), QString());
        QCOMPARE(words("{'trigger_words': 'hey'}"), QString());
    }

    void commaListTrimsBlanksAndTabsButNotLineBreaks()
    {
        QCOMPARE(ConfigDocument::commaList(u" a ,\tb\t,, ,c\n"_s),
                 (QStringList{u"a"_s, u"b"_s, u"c\n"_s}));
        QJsonObject document;
        ConfigValues values;
        values.triggerWords = u"momo,  jarvis , "_s;
        ConfigDocument::write(values, document);
        QCOMPARE(document.value("trigger_words"_L1).toArray(),
                 (QJsonArray{u"momo"_s, u"jarvis"_s}));
    }

    void listOfMixedTypesReadsAsEmptyText()
    {
        QCOMPARE(ConfigDocument::read(parse("{'trigger_words': ['a', 1]}")).triggerWords,
                 QString());
        QCOMPARE(ConfigDocument::read(parse("{'trigger_words': ['a', 'b']}")).triggerWords,
                 u"a, b"_s);
    }

    void botValueEqualToTheDefaultIsNotStored()
    {
        QJsonObject document
            = parse("{'model': 'gpt', 'bot_tokens': ['t'],"
                    "'bot_profiles': [{'model': 'gpt', 'briefing_time': '09:00'}]}");
        ConfigValues values = ConfigDocument::read(document);
        QCOMPARE(values.botProfiles.first().model, u"gpt"_s);
        values.briefingTime = u"09:00"_s;
        ConfigDocument::write(values, document);
        const QJsonObject profile = document.value("bot_profiles"_L1).toArray().first().toObject();
        QVERIFY(!profile.contains("model"_L1));
        QVERIFY(!profile.contains("briefing_time"_L1));
    }

    void botValueThatDiffersIsStored()
    {
        QJsonObject document = parse("{'model': 'gpt', 'bot_tokens': ['t']}");
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[0].model = u"claude"_s;
        values.botProfiles[0].baseURL = u"  https://x/v1 \n"_s;
        values.botProfiles[0].soulFile = values.soulFile; // own key: stored even when equal
        values.botProfiles[0].allowedIDs = u"5, x, 6"_s;
        ConfigDocument::write(values, document);
        const QJsonObject profile = document.value("bot_profiles"_L1).toArray().first().toObject();
        QCOMPARE(profile.value("model"_L1).toString(), u"claude"_s);
        QCOMPARE(profile.value("base_url"_L1).toString(), u"https://x/v1"_s);
        QCOMPARE(profile.value("soul_file"_L1).toString(), values.soulFile);
        QCOMPARE(profile.value("allowed_ids"_L1).toArray(), (QJsonArray{5, 6}));
    }

    void botIdListEqualToTheDefaultIsNotStored()
    {
        QJsonObject document = parse("{'allowed_ids': [1, 2], 'bot_tokens': ['t']}");
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[0].allowedIDs = u"1,2"_s;
        ConfigDocument::write(values, document);
        QVERIFY(!document.value("bot_profiles"_L1)
                     .toArray()
                     .first()
                     .toObject()
                     .contains("allowed_ids"_L1));
    }

    // Per-bot trigger words are written as one comma-joined string but read only from an
    // array, so an override written here reads back as "inherits" — kept for the bot service.
    void botTriggerWordsAreWrittenAsOneStringAndReadOnlyFromAnArray()
    {
        QJsonObject document = parse("{'bot_tokens': ['t'], 'trigger_words': ['hey']}");
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[0].triggerWords = u"momo, jarvis"_s;
        values.botProfiles[0].clipTriggerWords = u"clip it"_s;
        ConfigDocument::write(values, document);
        const QJsonObject profile = document.value("bot_profiles"_L1).toArray().first().toObject();
        QCOMPARE(profile.value("trigger_words"_L1), QJsonValue(u"momo,jarvis"_s));
        QCOMPARE(profile.value("clip_trigger_words"_L1), QJsonValue(u"clip it"_s));

        const ConfigValues reread = ConfigDocument::read(document);
        QCOMPARE(reread.botProfiles.first().triggerWords, QString());
        QCOMPARE(reread.botProfiles.first().clipTriggerWords, QString());

        const auto fromArray = ConfigDocument::read(
            parse("{'bot_tokens': ['t'], 'bot_profiles': [{'trigger_words': ['a', 'b']}]}"));
        QCOMPARE(fromArray.botProfiles.first().triggerWords, u"a, b"_s);
    }

    void botTriggerWordsEqualToTheDefaultListAreRemoved()
    {
        QJsonObject document = parse("{'bot_tokens': ['t'], 'trigger_words': ['a', 'b'],"
                                     "'bot_profiles': [{'trigger_words': 'a,b'}]}");
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[0].triggerWords = u" a ,b "_s;
        ConfigDocument::write(values, document);
        QVERIFY(!document.value("bot_profiles"_L1)
                     .toArray()
                     .first()
                     .toObject()
                     .contains("trigger_words"_L1));
    }

    void botFallbacksAndDisabledSkillsAreRemovedWhenEmpty()
    {
        QJsonObject document
            = parse("{'bot_tokens': ['t'], 'bot_profiles': [{"
                    "'fallbacks': [{'base_url': 'u', 'model': 'm'}], 'enabled_skills': ['pdf']}]}");
        ConfigValues values = ConfigDocument::read(document);
        QCOMPARE(values.botProfiles.first().fallbacks.size(), 1);
        QCOMPARE(values.botProfiles.first().disabledSkills, QStringList{u"pdf"_s});
        values.botProfiles[0].fallbacks.clear();
        values.botProfiles[0].disabledSkills.clear();
        ConfigDocument::write(values, document);
        const QJsonObject profile = document.value("bot_profiles"_L1).toArray().first().toObject();
        QVERIFY(!profile.contains("fallbacks"_L1));
        QVERIFY(!profile.contains("enabled_skills"_L1));
    }

    void unknownKeysSurviveAtTopLevelAndInsideBotProfiles()
    {
        const QJsonObject document = parse("{'x_top': {'a': [1, null]}, 'bot_tokens': ['t'],"
                                           "'bot_profiles': [{'x_bot': 'keep', 'model': 'm'}]}");
        const QJsonObject written = roundTrip(document);
        QCOMPARE(written.value("x_top"_L1), document.value("x_top"_L1));
        QCOMPARE(written.value("bot_profiles"_L1).toArray().first().toObject().value("x_bot"_L1),
                 QJsonValue(u"keep"_s));
    }

    void providerWithoutModelIsDroppedAndGoneAfterSaving()
    {
        QJsonObject document = parse("{'fallbacks': ["
                                     "{'base_url': 'http://a', 'name': 'no model'},"
                                     "{'base_url': ' http://b\n', 'model': 'm', 'api_key': 5},"
                                     "{'base_url': 1, 'model': 'm'},"
                                     "'not an object']}");
        ConfigValues values;
        document = roundTrip(document, &values);
        QCOMPARE(values.fallbacks.size(), 1);
        QCOMPARE(values.fallbacks.first().base_url, u"http://b"_s);
        QCOMPARE(values.fallbacks.first().api_key, QString());
        const QJsonObject expected{{"name"_L1, u""_s},
                                   {"base_url"_L1, u"http://b"_s},
                                   {"api_key"_L1, u""_s},
                                   {"model"_L1, u"m"_s}};
        QCOMPARE(document.value("fallbacks"_L1).toArray(), QJsonArray{expected});
    }

    void providersGetFreshDistinctIds()
    {
        const auto values = ConfigDocument::read(parse(
            "{'fallbacks': [{'base_url': 'a', 'model': 'm'}, {'base_url': 'a', 'model': 'm'}]}"));
        QCOMPARE(values.fallbacks.size(), 2);
        QVERIFY(!values.fallbacks.at(0).id.isNull());
        QVERIFY(values.fallbacks.at(0).id != values.fallbacks.at(1).id);
        const QJsonObject provider{{"base_url"_L1, u"a"_s}, {"model"_L1, u"m"_s}};
        const QJsonObject written = roundTrip(QJsonObject{{"fallbacks"_L1, QJsonArray{provider}}});
        QVERIFY(!written.value("fallbacks"_L1).toArray().first().toObject().contains("id"_L1));
    }

    void providerIdsAreVersionFourUuids()
    {
        const auto values = ConfigDocument::read(parse(
            "{'fallbacks': [{'base_url': 'a', 'model': 'm'}, {'base_url': 'b', 'model': 'n'}]}"));
        const QRegularExpression uuid(
            u"^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$"_s);
        const auto text = [](const Fallback &f) { return f.id.toString(QUuid::WithoutBraces); };
        for (const Fallback &f : values.fallbacks) {
            QCOMPARE(f.id.version(), QUuid::Random);
            QCOMPARE(f.id.variant(), QUuid::DCE);
            QVERIFY2(uuid.match(text(f)).hasMatch(), qPrintable(text(f)));
        }
        QVERIFY(uuid.match(text(Fallback::create())).hasMatch());
    }

    // Known members are found in one pass whatever sits around them: unknown keys sorting
    // before, between and after them, and keys that are prefixes or extensions of known ones.
    void membersAreFoundAmongUnknownNeighbours()
    {
        const QJsonObject document
            = parse("{'bot_tokens': ['t'], 'bot_profiles': [{"
                    "'aaa': 1, 'api_kez': 'no', 'api_key': 'k', 'bot': 'no', 'bot_mode_x': 'no',"
                    "'bot_mode': 'coder', 'fallbacks': [{'zzz': 1, 'model': 'fm', 'base': 'no',"
                    "'base_url': 'http://f', 'api_key': 'fk', 'name': 'F', 'names': 'no'}],"
                    "'model': 'm', 'mode': 'no', 'soul_file': '~/s.md', 'zzz': [],"
                    "'enabled_skills': ['pdf'], 'trigger_words': ['a', 'b']}]}");
        const ConfigValues values = ConfigDocument::read(document);
        QCOMPARE(values.botProfiles.size(), 1);
        const BotProfile &profile = values.botProfiles.first();
        QCOMPARE(profile.apiKey, u"k"_s);
        QCOMPARE(profile.botMode, u"coder"_s);
        QCOMPARE(profile.model, u"m"_s);
        QCOMPARE(profile.soulFile, u"~/s.md"_s);
        QCOMPARE(profile.disabledSkills, QStringList{u"pdf"_s});
        QCOMPARE(profile.triggerWords, u"a, b"_s);
        QCOMPARE(profile.baseURL, QString());
        QCOMPARE(profile.fallbacks.size(), 1);
        QCOMPARE(profile.fallbacks.first().name, u"F"_s);
        QCOMPARE(profile.fallbacks.first().base_url, u"http://f"_s);
        QCOMPARE(profile.fallbacks.first().api_key, u"fk"_s);
        QCOMPARE(profile.fallbacks.first().model, u"fm"_s);
    }

    // A save that changes nothing writes back exactly what was there.
    void savingUnchangedValuesLeavesTheDocumentAsItWas()
    {
        const QJsonObject document = parse(
            "{'bot_tokens': ['a', 'b'], 'bot_nicknames': ['A', 'B'], 'bot_token': 'a',"
            "'bot_profiles': [{'model': 'm', 'x': 1, 'fallbacks': [{'name': 'n', 'base_url': 'u',"
            "'api_key': 'k', 'model': 'fm'}]}, {'allowed_ids': [7, -8], 'trigger_words': 'p,q'}]}");
        const QJsonObject written = roundTrip(document);
        const QJsonArray before = document.value("bot_profiles"_L1).toArray();
        const QJsonArray after = written.value("bot_profiles"_L1).toArray();
        QCOMPARE(after.at(0), before.at(0));
        // The second bot's trigger words were a string, which reads as no words of its own:
        // the save removes them and keeps its IDs.
        QCOMPARE(after.at(1).toObject(), QJsonObject({{"allowed_ids"_L1, QJsonArray{7, -8}}}));
    }

    // Editing one bot rewrites that bot's object only; a profile that is not an object is
    // replaced by one.
    void editingOneBotChangesOnlyThatBot()
    {
        QJsonObject document
            = parse("{'bot_tokens': ['a', 'b', 'c'], 'bot_profiles': [{'model': 'm', 'x': 1},"
                    "{'model': 'n', 'y': 2}, {'model': 'o'}]}");
        ConfigValues values = ConfigDocument::read(document);
        values.botProfiles[1].model = u"changed"_s;
        values.botProfiles[1].briefingPrompt = u"news"_s;
        ConfigDocument::write(values, document);
        const QJsonArray profiles = document.value("bot_profiles"_L1).toArray();
        QCOMPARE(profiles.size(), 3);
        QCOMPARE(profiles.at(0).toObject(), parse("{'model': 'm', 'x': 1}"));
        QCOMPARE(profiles.at(1).toObject(),
                 parse("{'model': 'changed', 'y': 2, 'briefing_prompt': 'news'}"));
        QCOMPARE(profiles.at(2).toObject(), parse("{'model': 'o'}"));

        document = parse("{'bot_tokens': ['a', 'b'], 'bot_profiles': [{'model': 'm'}, 5]}");
        values = ConfigDocument::read(document);
        QCOMPARE(values.botProfiles.at(0), BotProfile());
        values.botProfiles[1].model = u"n"_s;
        ConfigDocument::write(values, document);
        // A list with a non-object in it reads as no profiles at all, so the first bot's
        // model was not read and is not written either.
        QCOMPARE(document.value("bot_profiles"_L1).toArray(),
                 QJsonArray({QJsonObject(), QJsonObject{{"model"_L1, u"n"_s}}}));
    }

    void soulFileKeyIsRemovedWhenEmpty()
    {
        QJsonObject document = parse("{'soul_file': '~/x.md'}");
        ConfigValues values = ConfigDocument::read(document);
        values.soulFile.clear();
        ConfigDocument::write(values, document);
        QVERIFY(!document.contains("soul_file"_L1));
    }

    void skillsDirAndEnabledSkillsAreNeverWrittenByTheMapping()
    {
        const QJsonObject document = parse("{'skills_dir': '~/s', 'enabled_skills': ['a']}");
        const QJsonObject written = roundTrip(document);
        QCOMPARE(written.value("skills_dir"_L1), QJsonValue(u"~/s"_s));
        QCOMPARE(written.value("enabled_skills"_L1).toArray(), QJsonArray{u"a"_s});
    }

    void alwaysWrittenKeysAreWritten()
    {
        const QJsonObject written = roundTrip(QJsonObject());
        for (const char *key :
             {"base_url", "api_key", "model", "model_name", "fallbacks", "bot_tokens", "bot_token",
              "bot_nicknames", "bot_profiles", "data_dir", "show_in_dock", "launch_at_login",
              "backfill_missed", "briefing_crypto", "auto_memory", "max_tokens", "api_timeout"})
            QVERIFY2(written.contains(QLatin1StringView(key)), key);
        QCOMPARE(written.value("base_url"_L1), QJsonValue(u"http://127.0.0.1:11234/v1"_s));
        QCOMPARE(written.value("soul_file"_L1), QJsonValue(u"~/.zandrel/soul.md"_s));
        QCOMPARE(written.value("backfill_missed"_L1), QJsonValue(true));
    }

    void topLevelBaseUrlIsWrittenTrimmed()
    {
        QJsonObject document;
        ConfigValues values;
        values.baseURL = u"  https://api.example.test/v1\n"_s;
        ConfigDocument::write(values, document);
        QCOMPARE(document.value("base_url"_L1), QJsonValue(u"https://api.example.test/v1"_s));
    }

    void serialisedDocumentIsIndentedWithSortedKeys()
    {
        const QByteArray bytes
            = ConfigDocument::serialise(parse("{'b': 1, 'a': {'d': 2, 'c': 3}}"));
        QCOMPARE(bytes, QByteArray("{\n    \"a\": {\n        \"c\": 3,\n        \"d\": 2\n    },\n"
                                   "    \"b\": 1\n}\n"));
    }
};

QTEST_GUILESS_MAIN(TestConfigDocument)
#include "tst_configdocument.moc"
