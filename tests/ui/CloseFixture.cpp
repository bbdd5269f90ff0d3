// Tallo's side of the fixture: the books "Acme Bakery Ltd" with a finished September and an
// October in progress, in the index as the daemon writes it and in the period folders the run
// writes, and the daemon's period-close routes.

#include <QDesktopServices>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "app/Brand.h"
#include "support/RegistryIndex.h"
#include "support/TestEnvironment.h"
#include "ui/UiFixture.h"

namespace mnemora::test {

const QString UiFixture::kBooks = QStringLiteral("acme");
const QString UiFixture::kBooksName = QStringLiteral("Acme Bakery Ltd");
const QString UiFixture::kRecipient = QStringLiteral("maria@ledgerhouse.example");

namespace {

const char* const kDoneSteps =
    R"([{"key":"collect","label":"Collect statements and receipts","state":"done"},)"
    R"({"key":"match","label":"Match every line to a document","state":"done"},)"
    R"({"key":"letter","label":"Write the letter","state":"done"}])";

const char* const kOctoberSteps =
    R"([{"key":"collect","label":"Collect statements and receipts","state":"done",)"
    R"("detail":"Bank statement in hand; the card statement is still on its way"},)"
    R"({"key":"match","label":"Match every line to a document","state":"running",)"
    R"("detail":"2 of 4 lines matched"},)"
    R"({"key":"letter","label":"Write the letter","state":"pending"}])";

const char* const kOctoberDraft = R"(---
to: maria@ledgerhouse.example
subject: Acme Bakery — October 2026
---
> Still matching the card lines; the letter is half written.

Dear Maria,

Here are October's books for **Acme Bakery Ltd**, with a receipt behind every line I could match.

<!-- filling in -->

Many thanks,
Jonas
)";

const char* const kSeptemberDraft = R"(**To:** maria@ledgerhouse.example
**Subject:** Acme Bakery — September 2026

Dear Maria,

Here are September's books for **Acme Bakery Ltd**. Every line has a document behind it, and the
bank statement is attached as a PDF from *the bank's portal*.

- 3 supplier invoices from the Metro portal
- the card statement, `card-2026-09.pdf`
- 1 receipt from the photos

The full ledger is also at https://books.example/acme/2026-09.

Many thanks,
Jonas
)";

const char* const kSeptemberLog = R"(# Correspondence

## sent · 2026-10-06T17:00:00Z
The September letter with 3 attachments.

## reply from accountant · 2026-10-08T09:12:00Z
Thanks Jonas — all clear. **One question**: is the Bauhaus receipt business or private?

## note · 2026-10-08T10:00:00Z
Told Maria on the phone: Bauhaus was for the shop's shelves.
)";

struct Line {
    const char* period;
    const char* key;
    const char* kind;
    int order;
    const char* date;
    const char* vendor;
    QVariant amount;
    const char* status;
    const char* receipt;
    const char* photo;
    const char* staged;
    const char* source;
    const char* label;
    const char* why;
    const char* category;
};

QVariant text(const char* value) {
    return value ? QVariant(QString::fromUtf8(value)) : QVariant();
}

const Line kLines[] = {
    {"2026-10",
     "d-bank",
     "deliverable",
     1,
     nullptr,
     nullptr,
     {},
     "done",
     nullptr,
     nullptr,
     nullptr,
     "bank",
     "Bank statement",
     nullptr,
     nullptr},
    {"2026-10",
     "d-card",
     "deliverable",
     2,
     nullptr,
     nullptr,
     {},
     "pending",
     nullptr,
     nullptr,
     nullptr,
     "card",
     "Card statement",
     nullptr,
     nullptr},
    {"2026-10",
     "d-invoices",
     "deliverable",
     3,
     nullptr,
     nullptr,
     {},
     "collecting",
     nullptr,
     nullptr,
     nullptr,
     "Metro portal",
     "Supplier invoices",
     nullptr,
     nullptr},
    {"2026-10", "t-metro", "transaction", 10, "2026-10-03", "Metro Cash & Carry", -412.8, "matched",
     "Notes/bookkeeping/acme/2026-10/items/metro.pdf", nullptr, "01-metro.pdf", "Metro portal",
     nullptr, nullptr, "Ingredients"},
    {"2026-10",
     "doc-metro",
     "document",
     11,
     "2026-10-03",
     "Metro invoice",
     {},
     "matched",
     "Notes/bookkeeping/acme/2026-10/items/metro.pdf",
     nullptr,
     nullptr,
     "mail",
     nullptr,
     nullptr,
     nullptr},
    {"2026-10", "t-power", "transaction", 12, "2026-10-07", "Stadtwerke", -96.4, "matched", nullptr,
     "P-1", "02-stadtwerke.jpg", "photos", nullptr, nullptr, "Utilities"},
    {"2026-10", "t-lindner", "transaction", 13, "2026-10-12", "Café Lindner", 1234.5, "working",
     nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, "Catering income"},
    {"2026-10", "t-depot", "transaction", 14, "2026-10-15", "Office Depot", -23.99, "ask", nullptr,
     nullptr, nullptr, nullptr, nullptr, nullptr, "Office"},
    {"2026-10", "c-bauhaus", "transaction", 20, "2026-10-20", "Bauhaus", -58.0, "candidate",
     nullptr, "P-9", nullptr, "photos", nullptr,
     "A receipt photo from 20 October that matches no card line yet", nullptr},
    {"2026-10", "c-amazon", "transaction", 21, nullptr, "Amazon", -19.99, "candidate", nullptr,
     nullptr, nullptr, "mail", nullptr, "An order confirmation in your mail", nullptr},
    {"2026-09",
     "d-bank",
     "deliverable",
     1,
     nullptr,
     nullptr,
     {},
     "done",
     nullptr,
     nullptr,
     "bank-2026-09.pdf",
     "bank",
     "Bank statement",
     nullptr,
     nullptr},
    {"2026-09",
     "d-card",
     "deliverable",
     2,
     nullptr,
     nullptr,
     {},
     "done",
     nullptr,
     nullptr,
     "card-2026-09.pdf",
     "card",
     "Card statement",
     nullptr,
     nullptr},
    {"2026-09", "t-metro", "transaction", 10, "2026-09-04", "Metro Cash & Carry", -388.1, "matched",
     "metro-0904.pdf", nullptr, "metro-0904.pdf", "Metro portal", nullptr, nullptr, "Ingredients"},
    {"2026-09", "t-bauhaus", "transaction", 11, "2026-09-19", "Bauhaus", -58.0, "included", nullptr,
     "P-4", "bauhaus-0919.jpg", "photos", nullptr, nullptr, "Shop fittings"},
    {"2026-09", "t-lindner", "transaction", 12, "2026-09-28", "Café Lindner", 980.0, "matched",
     "lindner-0928.pdf", nullptr, nullptr, "mail", nullptr, nullptr, "Catering income"},
    {"2026-09", "c-ikea", "transaction", 20, "2026-09-22", "IKEA", -12.5, "excluded", nullptr,
     "P-5", nullptr, "photos", nullptr, "A private purchase", nullptr},
};

} // namespace

QString UiFixture::periodFolder(const QString& period) const {
    return vault_ + QStringLiteral("/Notes/bookkeeping/") + kBooks + QLatin1Char('/') + period;
}

void UiFixture::writeCloseIndex(RegistryIndex& index) {
    index.run({{"books", kBooks},
               {"period", "2026-08"},
               {"phase", "closed"},
               {"status", "closed"},
               {"steps", kDoneSteps}});
    index.run({{"books", kBooks},
               {"period", "2026-09"},
               {"phase", "sent"},
               {"status", "closed"},
               {"steps", kDoneSteps},
               {"accountant", "Maria"},
               {"started_at", "2026-10-01T08:00:00Z"},
               {"updated_at", "2026-10-06T17:00:00Z"},
               {"current_activity", "Sent to Maria on 6 October"}});
    index.run({{"books", kBooks},
               {"period", "2026-10"},
               {"phase", "matching"},
               {"status", "running"},
               {"steps", kOctoberSteps},
               {"accountant", "Maria"},
               {"started_at", "2026-11-01T08:00:00Z"},
               {"updated_at", "2026-11-02T09:30:00Z"},
               {"current_activity", "Matching the card lines against the receipts in your mail"}});
    for (const Line& line : kLines) {
        index.material(
            {{"books", kBooks},
             {"period", line.period},
             {"line_key", line.key},
             {"kind", line.kind},
             {"sort_order", line.order},
             {"date", text(line.date)},
             {"vendor", text(line.vendor)},
             {"amount", line.amount},
             {"currency", line.amount.isValid() ? QVariant("EUR") : QVariant()},
             {"status", text(line.status)},
             {"receipt_path", text(line.receipt)},
             {"photo_uuid", text(line.photo)},
             {"staged_as", text(line.staged)},
             {"source", text(line.source)},
             {"label", text(line.label)},
             {"why", text(line.why)},
             {"category", text(line.category)},
             {"question_slug",
              QString::fromUtf8(line.key) == "t-depot" ? QVariant(kDocSlug) : QVariant()}});
    }
}

void UiFixture::writeBookkeeping() {
    const QString october = periodFolder(QStringLiteral("2026-10"));
    TestEnvironment::writeFile(october + QStringLiteral("/accountant-email-draft.md"),
                               kOctoberDraft);
    TestEnvironment::writeFile(october + QStringLiteral("/attachments-to-send/01-metro.pdf"),
                               "%PDF-1.4");
    TestEnvironment::writeFile(october + QStringLiteral("/attachments-to-send/02-stadtwerke.jpg"),
                               "jpeg");
    const QString september = periodFolder(QStringLiteral("2026-09"));
    TestEnvironment::writeFile(september + QStringLiteral("/accountant-email-draft.md"),
                               kSeptemberDraft);
    TestEnvironment::writeFile(september + QStringLiteral("/accountant-correspondence.md"),
                               kSeptemberLog);
    for (const char* file :
         {"bank-2026-09.pdf", "card-2026-09.pdf", "metro-0904.pdf", "bauhaus-0919.jpg"}) {
        TestEnvironment::writeFile(september + QStringLiteral("/attachments-to-send/") +
                                       QString::fromLatin1(file),
                                   "file");
    }
}

HttpServer::Response UiFixture::answerClose(const HttpServer::Request& request) const {
    const QByteArray path = request.path.split('?').first();
    if (path == "/period-close/books") {
        const QJsonObject acme{{QStringLiteral("slug"), kBooks},
                               {QStringLiteral("name"), kBooksName},
                               {QStringLiteral("recipient"), kRecipient}};
        return HttpServer::json(
            QJsonDocument(QJsonObject{{QStringLiteral("books"), QJsonArray{acme}}}).toJson());
    }
    if (path == "/period-close/runs") {
        return HttpServer::json(R"([{"period": "2026-10", "status": "running",)"
                                R"( "current_activity": "Matching the card lines"},)"
                                R"( {"period": "2026-09", "status": "closed"}])");
    }
    if (path == "/period-close/run/correspondence") {
        // The daemon keeps the log: it appends the note to the period's file.
        const QJsonObject body = QJsonDocument::fromJson(request.body).object();
        const QString file = periodFolder(body.value(QStringLiteral("period")).toString()) +
                             QStringLiteral("/accountant-correspondence.md");
        QFile log(file);
        if (log.open(QIODevice::Append)) {
            log.write("\n## " + body.value(QStringLiteral("kind")).toString().toUtf8() +
                      " · 2026-11-03T10:00:00Z\n" +
                      body.value(QStringLiteral("text")).toString().toUtf8() + "\n");
        }
        return HttpServer::json(R"({"ok": true})");
    }
    return HttpServer::json(R"({"ok": true})");
}

UrlCatcher::UrlCatcher(QStringList schemes)
    : schemes_(std::move(schemes)) {
    for (const QString& scheme : schemes_) {
        QDesktopServices::setUrlHandler(scheme, this, "open");
    }
}

UrlCatcher::~UrlCatcher() {
    for (const QString& scheme : schemes_) {
        QDesktopServices::unsetUrlHandler(scheme);
    }
}

} // namespace mnemora::test
