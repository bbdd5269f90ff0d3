#include "ui/LetterModel.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QLocale>
#include <QMimeData>

#include "daemon/DaemonEndpoints.h"
#include "daemon/DaemonService.h"
#include "periodclose/CorrespondenceLog.h"
#include "periodclose/PeriodCloseStore.h"

namespace mnemora {

namespace {

using LetterDocument::Prose;

std::optional<QString> readText(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return QString::fromUtf8(file.readAll());
}

// The letter on screen is the very HTML that goes on the clipboard, so lists, links and emphasis
// look as the accountant will see them; one block (a paragraph or a list) at a time.
QStringList blocksOf(const QString& markdown) {
    return LetterDocument::html(markdown).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QByteArray encoded(const QString& text) {
    return QUrl::toPercentEncoding(text);
}

// The files staged to go with the letter, by name; hidden files are the file manager's.
QStringList stagedFiles(const QString& folder) {
    return QDir(folder).entryList(QDir::Files | QDir::NoDotAndDotDot, QDir::Name);
}

} // namespace

LetterModel::LetterModel(PeriodCloseStore* store, DaemonService* daemon, QObject* parent)
    : QObject(parent)
    , store_(store)
    , daemon_(daemon) {
    // Provenance and the files still awaited come from the run's lines.
    connect(store, &PeriodCloseStore::materialsChanged, this, &LetterModel::reload);
    connect(store, &PeriodCloseStore::runChanged, this, &LetterModel::reload);
}

void LetterModel::setScope(const QString& books, const QString& period, const QString& folder,
                           const QString& recipient) {
    const bool moved = books != books_ || period != period_;
    books_ = books;
    period_ = period;
    folder_ = folder;
    recipient_ = recipient;
    if (moved) {
        report({}, {});
    }
    reload();
}

void LetterModel::reload() {
    const std::optional<QString> text =
        folder_.isEmpty() ? std::nullopt
                          : readText(folder_ + QLatin1Char('/') + LetterDocument::draftFileName);
    const bool hadDraft = hasDraft_;
    const LetterDocument::Draft draft = draft_;
    const LetterDocument::Prose prose = prose_;
    const QVariantList attachments = attachments_;
    const QVariantList tally = tally_;
    const QVariantList correspondence = correspondence_;
    hasDraft_ = text && !text->trimmed().isEmpty();
    draft_ = LetterDocument::parseDraft(text);
    const std::optional<QString> accountant =
        store_ && store_->run() ? store_->run()->accountant : std::nullopt;
    prose_ = LetterDocument::prose(draft_, accountant);
    readAttachments();
    readCorrespondence();
    // Rebuilding the letter on screen costs a layout of every paragraph: only for news.
    if (hadDraft != hasDraft_ || !(draft == draft_) || !(prose == prose_) ||
        attachments != attachments_ || tally != tally_ || correspondence != correspondence_) {
        emit changed();
    }
}

QString LetterModel::to() const {
    return draft_.to.value_or(recipient_);
}

QString LetterModel::proseKind() const {
    if (std::holds_alternative<LetterDocument::Written>(prose_)) {
        return QStringLiteral("written");
    }
    return std::holds_alternative<LetterDocument::Filling>(prose_) ? QStringLiteral("filling")
                                                                   : QStringLiteral("skeleton");
}

QString LetterModel::greeting() const {
    const auto* skeleton = std::get_if<LetterDocument::Skeleton>(&prose_);
    return skeleton ? skeleton->greeting : QString();
}

QString LetterModel::signOff() const {
    const auto* skeleton = std::get_if<LetterDocument::Skeleton>(&prose_);
    return skeleton ? skeleton->signOff : QString();
}

int LetterModel::ghostLines() const {
    if (const auto* skeleton = std::get_if<LetterDocument::Skeleton>(&prose_)) {
        return skeleton->ghostLines;
    }
    const auto* filling = std::get_if<LetterDocument::Filling>(&prose_);
    return filling ? filling->ghostLines : 0;
}

QStringList LetterModel::paragraphs() const {
    if (std::holds_alternative<LetterDocument::Written>(prose_)) {
        return blocksOf(draft_.body);
    }
    if (!std::holds_alternative<LetterDocument::Filling>(prose_)) {
        return {};
    }
    return blocksOf(draft_.body.left(draft_.body.indexOf(LetterDocument::fillingMarker)));
}

QStringList LetterModel::paragraphsAfter() const {
    if (!std::holds_alternative<LetterDocument::Filling>(prose_)) {
        return {};
    }
    const qsizetype marker = draft_.body.indexOf(LetterDocument::fillingMarker);
    return blocksOf(draft_.body.mid(marker + LetterDocument::fillingMarker.size()));
}

QString LetterModel::instruction() const {
    return LetterDocument::attachmentInstruction(attachmentCount_);
}

QString LetterModel::attachmentsFolder() const {
    return folder_ + QLatin1Char('/') + LetterDocument::attachmentsFolderName;
}

bool LetterModel::hasAttachmentsFolder() const {
    return !folder_.isEmpty() && QDir(attachmentsFolder()).exists();
}

void LetterModel::readAttachments() {
    using LetterDocument::Attachment;
    const QList<PeriodCloseMaterial> materials =
        store_ ? store_->materials() : QList<PeriodCloseMaterial>();
    const QHash<QString, LetterDocument::Provenance> byFile =
        LetterDocument::provenanceByFile(materials);
    QList<Attachment> list;
    const QStringList files = folder_.isEmpty() ? QStringList() : stagedFiles(attachmentsFolder());
    for (const QString& file : files) {
        const auto found = byFile.constFind(file);
        list << Attachment{static_cast<int>(list.size()) + 1, file,
                           found == byFile.constEnd() ? std::nullopt : std::optional(*found),
                           std::nullopt};
    }
    attachmentCount_ = static_cast<int>(files.size());
    // A deliverable still being gathered is an attachment to come.
    for (const PeriodCloseMaterial& row : store_ ? store_->deliverables() : materials) {
        if (row.standing() == PeriodCloseMaterial::Standing::toGather) {
            list << Attachment{static_cast<int>(list.size()) + 1, std::nullopt,
                               LetterDocument::provenance(row.source, row.status),
                               row.label.value_or(row.lineKey)};
        }
    }
    attachments_.clear();
    for (const Attachment& each : list) {
        attachments_ << QVariantMap{
            {QStringLiteral("number"), each.number},
            {QStringLiteral("name"), each.filename.value_or(each.waitingLabel.value_or(QString()))},
            {QStringLiteral("staged"), each.filename.has_value()},
            {QStringLiteral("provenance"), each.provenance ? each.provenance->label() : QString()}};
    }
    tally_.clear();
    for (const LetterDocument::Tally& line : LetterDocument::tally(list)) {
        tally_ << QVariantMap{{QStringLiteral("label"), line.label},
                              {QStringLiteral("count"), line.count}};
    }
}

void LetterModel::readCorrespondence() {
    correspondence_.clear();
    const std::optional<QString> text =
        folder_.isEmpty()
            ? std::nullopt
            : readText(folder_ + QLatin1Char('/') + LetterDocument::correspondenceFileName);
    for (const CorrespondenceLog::Entry& entry :
         CorrespondenceLog::parse(text.value_or(QString()))) {
        correspondence_ << QVariantMap{
            {QStringLiteral("kind"), CorrespondenceLog::displayKind(entry)},
            {QStringLiteral("at"),
             entry.at ? QLocale().toString(entry.at->toLocalTime(), QLocale::ShortFormat)
                      : QString()},
            {QStringLiteral("preview"), CorrespondenceLog::plainPreview(entry.text)},
            {QStringLiteral("text"), LetterDocument::plainText(entry.text)},
            {QStringLiteral("fromAccountant"), CorrespondenceLog::isFromAccountant(entry)}};
    }
}

QString LetterModel::sendRefusal() const {
    if (!hasDraft_) {
        return QStringLiteral("There is no letter to send yet.");
    }
    if (draft_.notReady) {
        return QStringLiteral("The run marked this letter NOT READY TO SEND. It can be copied or "
                              "opened in your mail once the run takes that mark away.");
    }
    if (!std::holds_alternative<LetterDocument::Written>(prose_)) {
        return QStringLiteral("The letter is still being written.");
    }
    return {};
}

QUrl LetterModel::mailtoUrl() const {
    QByteArray link = "mailto:" + QUrl::toPercentEncoding(to(), "@");
    QList<QByteArray> fields;
    if (!cc().isEmpty()) {
        fields << "cc=" + QUrl::toPercentEncoding(cc(), "@");
    }
    fields << "subject=" + encoded(subject());
    fields << "body=" + encoded(LetterDocument::plainText(draft_.body));
    link += '?' + fields.join('&');
    return QUrl::fromEncoded(link, QUrl::StrictMode);
}

void LetterModel::copy() {
    if (!canSend()) {
        report({}, sendRefusal());
        return;
    }
    auto* data = new QMimeData;
    data->setHtml(LetterDocument::html(draft_.body));
    data->setText(LetterDocument::plainText(draft_.body));
    QGuiApplication::clipboard()->setMimeData(data);
    report(QStringLiteral("Copied. Paste it into a new message to ") + to() + QStringLiteral("."),
           {});
}

void LetterModel::openInMail() {
    if (!canSend()) {
        report({}, sendRefusal());
        return;
    }
    if (!QDesktopServices::openUrl(mailtoUrl())) {
        report({}, QStringLiteral("No mail program opened the letter. Copy it instead and paste "
                                  "it into a new message."));
        return;
    }
    report(QStringLiteral("Opened in your mail program. ") + instruction() + QLatin1Char('.'), {});
}

void LetterModel::revealAttachments() {
    if (!hasAttachmentsFolder()) {
        report({}, QStringLiteral("Nothing has been staged to attach yet."));
        return;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(attachmentsFolder()))) {
        report({}, QStringLiteral("The file manager did not open ") + attachmentsFolder() +
                       QLatin1Char('.'));
    }
}

void LetterModel::addNote(const QString& text) {
    // Started and left: the coroutine guards this model.
    saveNote(text);
}

QCoro::Task<> LetterModel::saveNote(QString text) {
    QPointer<LetterModel> self(this);
    const QString note = text.trimmed();
    if (note.isEmpty()) {
        report({}, QStringLiteral("Write the note first."));
        co_return;
    }
    std::optional<QString> books = books_.isEmpty() ? std::nullopt : std::optional(books_);
    QCoro::Task<Expected<void>> saving =
        DaemonEndpoints::addCorrespondence(daemon_, period_, QStringLiteral("note"), note, books);
    const Expected<void> result = co_await saving;
    if (!self) {
        co_return;
    }
    report(result.ok() ? QStringLiteral("Note saved.") : QString(), result.error());
    if (result.ok()) {
        reload();
    }
}

void LetterModel::report(const QString& message, const QString& error) {
    message_ = message;
    errorText_ = error;
    emit messageChanged();
}

} // namespace mnemora
