#include <gtest/gtest.h>

#include "periodclose/LedgerNumber.h"
#include "periodclose/LetterDocument.h"
#include "support/QtPrinters.h"

using namespace mnemora;
using namespace mnemora::LetterDocument;

namespace {

const QLocale kBritish(QLocale::English, QLocale::UnitedKingdom);
const QLocale kAmerican(QLocale::English, QLocale::UnitedStates);
const QLocale kGerman(QLocale::German, QLocale::Germany);

} // namespace

TEST(LetterDocumentTest, ReadsHeadersNotesAndBodyOfADraft) {
    const struct {
        const char* name;
        std::optional<QString> text;
        Draft expected;
    } cases[] = {
        {"no text", std::nullopt, {}},
        {"blank text", " \n\t\n", {}},
        {"a header block, a rule and a greeting",
         "To: anna@books.example\n**Subject:** Books for October\nCc:\n---\nDear Anna,\n\nTo: keep "
         "this line\nHere they are.\n",
         {"anna@books.example", "Books for October", std::nullopt, std::nullopt,
          "Dear Anna,\n\nTo: keep this line\nHere they are.", std::nullopt, false}},
        {"headers as list items",
         "- Subject: Books for October\n* **To**: anna@books.example\nHello",
         {"anna@books.example", "Books for October", std::nullopt, std::nullopt, "Hello",
          std::nullopt, false}},
        {"frontmatter, notes and the mark",
         "---\nTo: \"anna@books.example\"\nsubject:   \nfrom: not taken\n---\n# Draft for "
         "October\n> Two receipts still missing.\n>\n**Attachments:** 3 files\nFrom: Ben "
         "<ben@shop.example>\n\nDear Anna,\n> quoted in the body\nAttachments: 2 more\n***\nNOT "
         "ready to send",
         {"anna@books.example", std::nullopt, std::nullopt, "Ben <ben@shop.example>",
          "Dear Anna,\n> quoted in the body\nNOT ready to send",
          "Two receipts still missing.\nAttachments: 3 files\nAttachments: 2 more", true}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const Draft draft = parseDraft(row.text);
        EXPECT_EQ(draft.to, row.expected.to);
        EXPECT_EQ(draft.subject, row.expected.subject);
        EXPECT_EQ(draft.cc, row.expected.cc);
        EXPECT_EQ(draft.from, row.expected.from);
        EXPECT_EQ(draft.body, row.expected.body);
        EXPECT_EQ(draft.notes, row.expected.notes);
        EXPECT_EQ(draft.notReady, row.expected.notReady);
    }
}

TEST(LetterDocumentTest, TellsHowMuchOfTheLetterIsWritten) {
    const Skeleton dearAnna{"Dear Anna,", 3, "Many thanks,"};
    const struct {
        const char* name;
        QString body;
        std::optional<QString> recipient;
        Prose expected;
    } cases[] = {
        {"23 characters", QStringLiteral("Re\u0301sume\u0301 for October book"), "Anna", dearAnna},
        {"24 characters", "Here is October's books.", "Anna",
         Written{{"Here is October's books."}}},
        {"no recipient", "Short.", " ", Skeleton{"Hello,", 3, "Many thanks,"}},
        {"line breaks", "Dear Anna,\nhere they are.  \nAll of them.\\\nBen\n\n \nSecond", "Anna",
         Written{{"Dear Anna, here they are.\nAll of them.\nBen", "Second"}}},
        {"two markers",
         "Dear Anna,\n\n<!-- filling in -->\n\nMiddle part.\n\n<!-- filling in -->\n\nMany "
         "thanks",
         "Anna", Filling{{"Dear Anna,"}, 3, {"Middle part.", "Many thanks"}}},
        {"a marker inside a paragraph", "Dear Anna, here is <!-- filling in -->", "Anna",
         Written{{"Dear Anna, here is <!-- filling in -->"}}},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Draft draft;
        draft.body = row.body;
        EXPECT_TRUE(prose(draft, row.recipient) == row.expected);
    }
}

TEST(LetterDocumentTest, SaysWhereEachFileCameFrom) {
    const struct {
        std::optional<QString> source;
        std::optional<QString> status;
        QString label;
    } cases[] = {
        {"Google Photos", "matched", "your photos"},
        {"Gmail receipts", "done", "your mail"},
        {"Amex card", "done", "from your card"},
        {"Monthly statement", "downloaded", "from your bank"},
        {"you said it was cash", "done", "you told me"},
        {"Portal login", "done", "behind a login"},
        {" Vodafone ", "downloaded", "from Vodafone"},
        {"Vodafone", "pending", "still looking"},
        {"Vodafone", std::nullopt, "still looking"},
        {"  ", "done", "still looking"},
    };
    for (const auto& row : cases) {
        EXPECT_EQ(provenance(row.source, row.status).label(), row.label)
            << row.source.value_or("none").toStdString();
    }
    EXPECT_EQ(Provenance::portal("").label(), "a supplier portal");
    EXPECT_EQ(Provenance::other("the shoebox").label(), "the shoebox");

    auto staged = [](const char* file, const char* source, const char* status) {
        PeriodCloseMaterial row;
        row.stagedAs = file ? std::optional<QString>(file) : std::nullopt;
        row.source = source;
        row.status = status;
        return row;
    };
    const QHash<QString, Provenance> byFile = provenanceByFile({
        staged("attachments-to-send/01-fuel.pdf ", "Shell", "done"),
        staged("01-fuel.pdf", "Google Photos", "done"),
        staged("02-rent.pdf", "Landlord portal login", "done"),
        staged("02-rent.pdf", "Bank", "done"),
        staged("03-vat.pdf", "Tax office", "pending"),
        staged("  ", "Bank", "done"),
        staged(nullptr, "Bank", "done"),
    });
    EXPECT_EQ(byFile, (QHash<QString, Provenance>{{"01-fuel.pdf", Provenance::portal("Shell")},
                                                  {"02-rent.pdf", {Provenance::Kind::bank, {}}}}));

    const QList<Tally> tallies = tally({
        {1, "a.pdf", Provenance::portal("Shell"), std::nullopt},
        {2, "b.jpg", Provenance{Provenance::Kind::photos, {}}, std::nullopt},
        {3, "c.pdf", Provenance::portal("Vodafone"), std::nullopt},
        {4, std::nullopt, std::nullopt, "Waiting for the VAT return"},
    });
    EXPECT_EQ(tallies, (QList<Tally>{{"Supplier portals", 2}, {"Your photos", 1}}));
}

TEST(LetterDocumentTest, WritesTheShortLinesOfTheLetterScreen) {
    EXPECT_EQ(attachmentInstruction(0), "Drag the files onto the message");
    EXPECT_EQ(attachmentInstruction(1), "Drag the file onto the message");
    EXPECT_EQ(attachmentInstruction(3), "Drag the 3 files onto the message");

    const struct {
        std::optional<QString> vendor;
        std::optional<QString> date;
        QLocale locale;
        QString line;
    } happenings[] = {
        {"Shell", "2026-10-03", kBritish, "A receipt for Shell, 3 Oct"},
        {"Shell", " 2026-10-03 ", kAmerican, "A receipt for Shell, Oct 3"},
        {"Shell", "2026-13-03", kBritish, "A receipt for Shell"},
        {std::nullopt, "2026-02-31", kBritish, "A receipt for the 31 Feb line"},
        {" ", "03/10/2026", kBritish, "A receipt for this line"},
    };
    for (const auto& row : happenings) {
        EXPECT_EQ(happeningLine(row.vendor, row.date, row.locale), row.line);
    }

    EXPECT_EQ(sentSummary(0, 0, false), std::nullopt);
    EXPECT_EQ(sentSummary(12, 5, false), "12 lines, 5 of them on the statement — each with what "
                                         "backs it and where that came from.");
    const QString transactions =
        "12 transactions, each with what backs it and where that came from.";
    EXPECT_EQ(sentSummary(12, 13, false), transactions);
    EXPECT_EQ(sentSummary(12, 0, false), transactions);
    EXPECT_EQ(sentSummary(12, 5, true), transactions);

    const QDateTime sent(QDate(2026, 10, 3), QTime(12, 0));
    EXPECT_EQ(sentLabel(sent, QCalendar(), kBritish), "the letter you sent, 3 October");
    EXPECT_EQ(sentLabel(sent, QCalendar(), kAmerican), "the letter you sent, October 3");
    EXPECT_EQ(sentLabel(std::nullopt), "the letter you sent");
}

TEST(LetterDocumentTest, PastesTheBodyAsHtmlAndAsPlainText) {
    const QString body = "Dear Anna,\n\nHere are the books for October.  \nSee "
                         "https://portal.example/inv?id=3&x=1. Total <b> is `1 234,50`.\n\n- "
                         "**Fuel**: *missing* receipt\n  * Lunch at _Cafe_, 2*3*4\n\n<!-- filling "
                         "in -->\n\nMany thanks,\\\nBen";
    EXPECT_EQ(html(body),
              "<p>Dear Anna,</p>\n"
              "<p>Here are the books for October.<br>See <a "
              "href=\"https://portal.example/inv?id=3&amp;x=1\">https://portal.example/"
              "inv?id=3&amp;x=1</a>. Total &lt;b&gt; is <code style=\"font-family: ui-monospace, "
              "SFMono-Regular, Menlo, Consolas, 'Courier New', monospace\">1 234,50</code>.</p>\n"
              "<ul><li><strong>Fuel</strong>: <em>missing</em> receipt</li><li>Lunch at "
              "<em>Cafe</em>, 2*3*4</li></ul>\n"
              "<p>Many thanks,<br>Ben</p>");
    EXPECT_EQ(plainText(body), "Dear Anna,\n\nHere are the books for October.\nSee "
                               "https://portal.example/inv?id=3&x=1. Total <b> is 1 234,50.\n\n• "
                               "Fuel: missing receipt\n• Lunch at Cafe, 2*3*4\n\n\n\nMany "
                               "thanks,\nBen");
}

TEST(LetterDocumentTest, ReadsAndShowsAmounts) {
    const struct {
        const char* text;
        std::optional<double> value;
    } parses[] = {
        {"1 234,50", 1234.5},           {"1,234.50", 1234.5},     {"1234,50", 1234.5},
        {"1.234,50", 1.2345},           {"12'000", 12000.0},      {"-3.5", -3.5},
        {"1\u202f234\u00a05", 12345.0}, {"12 EUR", std::nullopt}, {"", std::nullopt},
        {"1,2.3.4", std::nullopt},
    };
    for (const auto& row : parses) {
        EXPECT_EQ(LedgerNumber::parse(QString::fromUtf8(row.text)), row.value) << row.text;
    }

    const struct {
        std::optional<QString> amount;
        std::optional<QString> currency;
        QLocale locale;
        std::optional<QString> text;
    } displays[] = {
        {"1 234,50", "EUR", kAmerican, "€1,234.50"},
        {"1 234,50", "EUR", kGerman, "1.234,50\u00a0€"},
        {"-20", "usd", kAmerican, "-$20.00"},
        {"12.00", "Euro", kAmerican, "12.00 Euro"},
        {" 12.00 ", std::nullopt, kAmerican, "12.00"},
        {"about 12", "EUR", kAmerican, "about 12 EUR"},
        {" ", "EUR", kAmerican, std::nullopt},
        {std::nullopt, "EUR", kAmerican, std::nullopt},
    };
    for (const auto& row : displays) {
        EXPECT_EQ(LedgerNumber::display(row.amount, row.currency, row.locale), row.text)
            << row.amount.value_or("none").toStdString();
    }
}
