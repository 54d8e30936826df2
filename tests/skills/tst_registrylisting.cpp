// Filtering, ordering and paging of the Registry page's list.
#include "skills/registrylisting.h"
#include "skills/skillcatalog.h"

#include <QTest>

using namespace Qt::Literals::StringLiterals;

namespace {

RegistryEntry entry(const QString &name, const QString &title, const QString &description = {})
{
    return RegistryEntry{name, title, description, u"https://raw.example/"_s + name};
}

QStringList titles(const QList<RegistryEntry> &entries)
{
    QStringList list;
    for (const RegistryEntry &e : entries)
        list.append(e.title);
    return list;
}

QStringList names(const QList<RegistryEntry> &entries)
{
    QStringList list;
    for (const RegistryEntry &e : entries)
        list.append(e.name);
    return list;
}

QList<RegistryEntry> fixedCatalogue()
{
    return SkillCatalog::skillRegistry(u"https://raw.example"_s);
}

} // namespace

class TestRegistryListing final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void filterPdfFindsOnlyThePdfEntryAmongTheFixedOnes()
    {
        const QList<RegistryEntry> shown = RegistryListing::filtered(fixedCatalogue(), u"pdf"_s);
        QCOMPARE(names(shown), QStringList{u"pdf"_s});
        QCOMPARE(shown.constFirst().title, u"PDF"_s);
    }

    void emptyFilterFirstPageStartsWithTitlesInAscendingOrder()
    {
        const RegistryListing::Page first = RegistryListing::page(fixedCatalogue(), {}, 0);
        QCOMPARE(first.entries.size(), 10);
        QCOMPARE(titles(first.entries.mid(0, 3)),
                 (QStringList{u"Algorithmic art"_s, u"Brainstorming"_s, u"Brand guidelines"_s}));
    }

    void twentyOneFixedEntriesMakeThreePagesOfTenTenAndOne()
    {
        const QList<RegistryEntry> all = fixedCatalogue();
        QCOMPARE(all.size(), 21);
        QCOMPARE(RegistryListing::pageCount(all.size()), 3);
        QCOMPARE(RegistryListing::page(all, {}, 0).entries.size(), 10);
        QCOMPARE(RegistryListing::page(all, {}, 1).entries.size(), 10);
        const RegistryListing::Page last = RegistryListing::page(all, {}, 2);
        QCOMPARE(last.entries.size(), 1);
        QCOMPARE(last.indicator(), u"3 / 3"_s);
        QVERIFY(last.hasPrevious());
        QVERIFY(!last.hasNext());
        // Every entry is on exactly one page, in title order across the pages.
        QStringList all3;
        for (int p = 0; p < 3; ++p)
            all3 += titles(RegistryListing::page(all, {}, p).entries);
        QStringList sorted = titles(all);
        std::sort(sorted.begin(), sorted.end());
        QCOMPARE(all3, sorted);
    }

    void firstPageHasNoPreviousAndShowsOneOfThree()
    {
        const RegistryListing::Page first = RegistryListing::page(fixedCatalogue(), {}, 0);
        QCOMPARE(first.indicator(), u"1 / 3"_s);
        QVERIFY(!first.hasPrevious());
        QVERIFY(first.hasNext());
        QCOMPARE(first.matchCount, 21);
    }

    void sortIsCaseSensitiveWithCapitalsFirst()
    {
        const QList<RegistryEntry> shown
            = RegistryListing::filtered({entry(u"a"_s, u"apple"_s), entry(u"b"_s, u"Banana"_s),
                                         entry(u"c"_s, u"APPLE"_s), entry(u"d"_s, u"Zebra"_s)},
                                        {});
        QCOMPARE(titles(shown), (QStringList{u"APPLE"_s, u"Banana"_s, u"Zebra"_s, u"apple"_s}));
    }

    void equalTitlesKeepTheirListOrder()
    {
        const QList<RegistryEntry> shown = RegistryListing::filtered(
            {entry(u"second-source"_s, u"Same"_s), entry(u"x"_s, u"Alpha"_s),
             entry(u"first-source"_s, u"Same"_s), entry(u"third"_s, u"Same"_s)},
            {});
        QCOMPARE(names(shown),
                 (QStringList{u"x"_s, u"second-source"_s, u"first-source"_s, u"third"_s}));
    }

    void filterMaySpanTheEndOfTheTitleAndTheStartOfTheDescription()
    {
        const QList<RegistryEntry> all = fixedCatalogue();
        // "PDF" + " " + "Read, merge, …"
        QCOMPARE(names(RegistryListing::filtered(all, u"df read"_s)), QStringList{u"pdf"_s});
        QCOMPARE(names(RegistryListing::filtered(all, u"DF READ"_s)), QStringList{u"pdf"_s});
        // No blank between the two parts: no match.
        QVERIFY(RegistryListing::filtered(all, u"dfread"_s).isEmpty());
    }

    void filterIsNotTrimmed()
    {
        const QList<RegistryEntry> all{entry(u"pdf"_s, u"PDF"_s, u"Read files."_s)};
        QCOMPARE(RegistryListing::filtered(all, u" read"_s).size(), 1);
        QVERIFY(RegistryListing::filtered(all, u"pdf "_s).size() == 1);
        QVERIFY(RegistryListing::filtered(all, u"  pdf"_s).isEmpty());
    }

    void filterMatchesTheDescriptionAlone()
    {
        const QList<RegistryEntry> shown
            = RegistryListing::filtered(fixedCatalogue(), u"red-green"_s);
        QCOMPARE(titles(shown), QStringList{u"TDD"_s});
    }

    void fullCatalogueEntriesAreSortedInAmongTheFixedOnes()
    {
        QList<RegistryEntry> all = fixedCatalogue();
        all.append(entry(u"aardvark"_s, u"Aardvark"_s, u"From someone/skills"_s));
        const RegistryListing::Page first = RegistryListing::page(all, {}, 0);
        QCOMPARE(first.entries.constFirst().name, u"aardvark"_s);
        QCOMPARE(first.pageCount, 3);
        all.append(entry(u"z1"_s, u"Z1"_s));
        all.append(entry(u"z2"_s, u"Z2"_s));
        QCOMPARE(RegistryListing::page(all, {}, 0).pageCount, 3);
        all.append(entry(u"z3"_s, u"Z3"_s));
        all.append(entry(u"z4"_s, u"Z4"_s));
        all.append(entry(u"z5"_s, u"Z5"_s));
        all.append(entry(u"z6"_s, u"Z6"_s));
        all.append(entry(u"z7"_s, u"Z7"_s));
        all.append(entry(u"z8"_s, u"Z8"_s));
        all.append(entry(u"z9"_s, u"Z9"_s));
        QCOMPARE(all.size(), 31);
        QCOMPARE(RegistryListing::page(all, {}, 0).pageCount, 4);
        QCOMPARE(RegistryListing::page(all, {}, 3).entries.size(), 1);
    }

    void nothingMatchingShowsOneEmptyPage()
    {
        const RegistryListing::Page none
            = RegistryListing::page(fixedCatalogue(), u"no such skill"_s, 0);
        QVERIFY(none.entries.isEmpty());
        QCOMPARE(none.matchCount, 0);
        QCOMPARE(none.indicator(), u"1 / 1"_s);
        QVERIFY(!none.hasPrevious());
        QVERIFY(!none.hasNext());
    }

    void pageOutOfRangeShowsTheNearestPageThatExists()
    {
        const QList<RegistryEntry> all = fixedCatalogue();
        const RegistryListing::Page beyond = RegistryListing::page(all, {}, 7);
        QCOMPARE(beyond.page, 2);
        QCOMPARE(beyond.entries.size(), 1);
        const RegistryListing::Page negative = RegistryListing::page(all, {}, -4);
        QCOMPARE(negative.page, 0);
        QCOMPARE(negative.entries.size(), 10);
    }

    void exactlyTenEntriesFitOnePage()
    {
        QList<RegistryEntry> ten;
        for (int i = 0; i < 10; ++i)
            ten.append(entry(QString::number(i), u"T%1"_s.arg(i)));
        QCOMPARE(RegistryListing::page(ten, {}, 0).pageCount, 1);
        QCOMPARE(RegistryListing::page(ten, {}, 0).entries.size(), 10);
        ten.append(entry(u"x"_s, u"X"_s));
        QCOMPARE(RegistryListing::page(ten, {}, 0).pageCount, 2);
        QCOMPARE(RegistryListing::page(ten, {}, 1).entries.size(), 1);
    }
};

QTEST_GUILESS_MAIN(TestRegistryListing)
#include "tst_registrylisting.moc"
