// The words under every inheritable row of a bot page.
#include "config/inheritance.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

class TestInheritance final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void emptyOwnValueWithEmptyDefaultInheritsNothing()
    {
        QCOMPARE(inheritanceText(QString(), QString()), u"Inherits the default (not set)"_s);
    }

    void emptyOwnValueInheritsTheDefaultAndNamesIt()
    {
        QCOMPARE(inheritanceText(QString(), u"1, 2"_s), u"Inherits the default: 1, 2"_s);
    }

    void ownValueWithoutDefaultOverrides()
    {
        QCOMPARE(inheritanceText(u"3"_s, QString()), u"Overrides the default"_s);
    }

    void ownValueOverridesAndNamesTheDefaultInParentheses()
    {
        QCOMPARE(inheritanceText(u"3"_s, u"1, 2"_s), u"Overrides the default (1, 2)"_s);
    }

    void ownValueOfBlanksStillOverrides()
    {
        // The service receives the blanks as the bot's value; only no text at all inherits.
        QCOMPARE(inheritanceText(u" "_s, u"09:00"_s), u"Overrides the default (09:00)"_s);
        QCOMPARE(inheritanceText(QString(), u" "_s), u"Inherits the default:  "_s);
    }

    void defaultTextIsShownAsItStands()
    {
        // Outside text (a persona path with brackets, a prompt with quotes) is not altered.
        const QString prompt = u"weather, \"alerts\" (today) <b>"_s;
        QCOMPARE(inheritanceText(QString(), prompt), u"Inherits the default: "_s + prompt);
        QCOMPARE(inheritanceText(u"x"_s, prompt), u"Overrides the default ("_s + prompt + u')');
    }
};

QTEST_GUILESS_MAIN(TestInheritance)
#include "tst_inheritance.moc"
