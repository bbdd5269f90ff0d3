#include "periodclose/CloseStatusMirrorService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include "core/MarkdownCodec.h"
#include "core/SyncedDocWellKnownPath.h"
#include "core/WireWord.h"
#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "registry/DatabaseService.h"

namespace mnemora {

namespace {

using namespace CloseStatusDerivation;

const QString source = QStringLiteral("[CloseStatusMirror] ");

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

template <typename E> QString word(E value) {
    const std::string_view word = core::wireWord(value);
    return QString::fromUtf8(word.data(), static_cast<qsizetype>(word.size()));
}

std::optional<std::string> slug(const BooksRun& booksRun) {
    return booksRun.books ? std::optional(booksRun.books->toStdString()) : std::nullopt;
}

QString closeLine(const BooksRun& booksRun, const core::CloseStatusDoc& doc) {
    return QStringLiteral("books=%1 period=%2 phase=%3 blocked=%4 deliverables=%5 answerable=%6")
        .arg(booksRun.books.value_or(QStringLiteral("default")), qt(doc.period), word(doc.phase),
             doc.blockedKind ? word(*doc.blockedKind) : QStringLiteral("no"))
        .arg(doc.deliverables.size())
        .arg(doc.answerableCount);
}

QString ledgerLine(const core::LedgerDoc& ledger) {
    const core::LedgerDoc::Counts counts = ledger.counts();
    return QStringLiteral("%1 line(s) — %2 with a document, %3 still looking, %4 asking")
        .arg(ledger.rows.size())
        .arg(counts.found)
        .arg(counts.working)
        .arg(counts.asking);
}

std::string vaultNameText(const QString& name) {
    const std::vector<core::Block> blocks{core::Block{
        .kind = core::BlockKind::text,
        .text = name.toStdString(),
        .position = core::FractionalIndex::evenlySpaced(1).front(),
    }};
    return core::MarkdownCodec::serialize(blocks);
}

bool isStatusDocument(const QString& name) {
    return (name.startsWith(QLatin1String("close")) || name.startsWith(QLatin1String("ledger"))) &&
           name.endsWith(QLatin1String(".md"));
}

} // namespace

CloseStatusMirrorService::CloseStatusMirrorService(DatabaseService* database, DaemonService* daemon,
                                                   SyncLog log,
                                                   std::optional<QString> vaultDisplayName,
                                                   QObject* parent)
    : QObject(parent)
    , database_(database)
    , daemon_(daemon)
    , log_(std::move(log))
    , vaultDisplayName_(std::move(vaultDisplayName)) {}

CloseStatusMirrorService::~CloseStatusMirrorService() = default;

void CloseStatusMirrorService::start(QString notesRoot, std::chrono::milliseconds interval) {
    stop();
    notesRoot_ = std::move(notesRoot);
    log_.write(source + QStringLiteral("started"));
    QPointer<CloseStatusMirrorService> self(this);
    CancellableLoop::start(pollTask_, interval, CancellableLoop::FirstPass::atOnce,
                           [self] { return tickFor(self); });
}

void CloseStatusMirrorService::stop() {
    pollTask_.cancel();
}

QCoro::Task<> CloseStatusMirrorService::tickFor(QPointer<CloseStatusMirrorService> self) {
    if (!self) {
        co_return;
    }
    QCoro::Task<> ticking = self->tick();
    co_await ticking;
}

QCoro::Task<> CloseStatusMirrorService::tick() {
    if (!notesRoot_) {
        co_return;
    }
    QPointer<CloseStatusMirrorService> self(this);
    const QString notesRoot = *notesRoot_;
    if (vaultDisplayName_) {
        const QString path = qt(core::SyncedDocWellKnownPath::vaultIdentity());
        QCoro::Task<bool> writing =
            write(path, vaultNameText(*vaultDisplayName_), QStringLiteral("vault name"));
        co_await writing;
        if (!self) {
            co_return;
        }
    }
    QCoro::Task<QList<OpenQuestion>> fetching = openQuestions();
    const QList<OpenQuestion> questions = co_await fetching;
    if (!self) {
        co_return;
    }
    QSet<QString> live;
    for (const BooksRun& booksRun : booksRuns(notesRoot + QStringLiteral("/bookkeeping"))) {
        const core::CloseStatusDoc doc = closeStatus(booksRun, questions, fallbackBusiness_);
        const QString closePath = qt(core::SyncedDocWellKnownPath::closeStatus(slug(booksRun)));
        live.insert(closePath);
        QCoro::Task<bool> writingClose = write(
            closePath, core::MarkdownCodec::serialize(doc.blocks()), closeLine(booksRun, doc));
        co_await writingClose;
        if (!self) {
            co_return;
        }
        const core::LedgerDoc ledger = CloseStatusDerivation::ledger(booksRun.periodDir);
        const QString ledgerPath = qt(core::SyncedDocWellKnownPath::ledger(slug(booksRun)));
        live.insert(ledgerPath);
        QCoro::Task<bool> writingLedger =
            write(ledgerPath, core::MarkdownCodec::serialize(ledger.blocks()), ledgerLine(ledger));
        co_await writingLedger;
        if (!self) {
            co_return;
        }
    }
    QCoro::Task<> retiring = retireOrphans(live);
    co_await retiring;
}

QCoro::Task<QList<OpenQuestion>> CloseStatusMirrorService::openQuestions() {
    if (!database_) {
        co_return QList<OpenQuestion>();
    }
    QCoro::Task<QList<Question>> fetching =
        database_->fetchQuestions(Question::Status::open, IdentityScope::all(), questionLimit);
    const QList<Question> questions = co_await fetching;
    QList<OpenQuestion> result;
    for (const Question& question : questions) {
        result.append(OpenQuestion::from(question));
    }
    co_return result;
}

QCoro::Task<> CloseStatusMirrorService::retireOrphans(QSet<QString> live) {
    QPointer<CloseStatusMirrorService> self(this);
    const std::optional<QStringList> names = disk().files(*notesRoot_ + QStringLiteral("/status"));
    for (const QString& name : names.value_or(QStringList())) {
        const QString path = QStringLiteral("status/") + name;
        if (!isStatusDocument(name) || live.contains(path)) {
            continue;
        }
        QCoro::Task<bool> writing = write(path, std::string(), std::nullopt);
        const bool written = co_await writing;
        if (!self) {
            co_return;
        }
        if (written) {
            log_.write(source + QStringLiteral("retired ") + path +
                       QStringLiteral(" — its books are gone"));
        }
    }
}

QCoro::Task<bool> CloseStatusMirrorService::write(QString path, std::string text,
                                                  std::optional<QString> regenerating) {
    const QString notesRoot = *notesRoot_;
    const QByteArray wanted = QByteArray::fromStdString(text);
    // A missing file differs even from an empty document: the phone is to see the document.
    QFile current(notesRoot + QLatin1Char('/') + path);
    if (current.open(QIODevice::ReadOnly) && current.readAll() == wanted) {
        co_return false;
    }
    if (regenerating) {
        log_.write(source + QStringLiteral("regenerating ") + path + QStringLiteral(": ") +
                   *regenerating);
    }
    QPointer<CloseStatusMirrorService> self(this);
    // Like every synced document's path, relative to the Notes folder the daemon writes into.
    QCoro::Task<Expected<void>> writing =
        DaemonEndpoints::writeDoc(daemon_, path, QString::fromUtf8(wanted));
    const Expected<void> written = co_await writing;
    if (!self) {
        co_return false;
    }
    if (!written.ok()) {
        setLastError(QStringLiteral("write ") + path + QStringLiteral(" failed: ") +
                     written.error());
        log_.write(source + QStringLiteral("write FAILED for ") + path + QStringLiteral(": ") +
                   written.error());
        co_return false;
    }
    co_return true;
}

void CloseStatusMirrorService::setLastError(const QString& error) {
    if (lastError_ != error) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

} // namespace mnemora
