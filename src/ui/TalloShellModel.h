#pragma once

#include <QList>
#include <QPointer>
#include <QVariantList>

#include <optional>

#include "daemon/CloseRound.h"
#include "ui/HomeModel.h"
#include "ui/TalloDestination.h"

namespace mnemora {

class CloseRunModel;
class CloseSessionsModel;
class DemoMonthOffer;
class LetterModel;
class PeriodCloseStore;
class QuotaWatcher;

// Tallo's window: one set of books and one period at a time, chosen with the books selection and
// the period stepper, and the surfaces of that period — the close itself, its ledger, the review
// of what the run found, the letter, the questions and the sessions. Automation reaches it
// through the window's store: a destination, a period step and a books selection are consumed
// here, and the period on screen is published back.
class TalloShellModel : public HomeModel {
    Q_OBJECT
    Q_PROPERTY(bool indexed READ indexed NOTIFY shellChanged)
    Q_PROPERTY(bool hasRuns READ hasRuns NOTIFY shellChanged)
    Q_PROPERTY(QString startText READ startText NOTIFY shellChanged)
    Q_PROPERTY(QVariantList books READ books NOTIFY shellChanged)
    Q_PROPERTY(int booksIndex READ booksIndex NOTIFY shellChanged)
    Q_PROPERTY(QString period READ period NOTIFY shellChanged)
    Q_PROPERTY(QVariantMap stepper READ stepper NOTIFY shellChanged)
    Q_PROPERTY(QVariantList surfaces READ surfaces NOTIFY shellChanged)
    Q_PROPERTY(QString surface READ surface WRITE setSurface NOTIFY surfaceChanged)
    Q_PROPERTY(int surfaceIndex READ surfaceIndex NOTIFY surfaceChanged)
    Q_PROPERTY(QString questionsEmptyTitle READ questionsEmptyTitle CONSTANT)
    Q_PROPERTY(QString questionsEmptyText READ questionsEmptyText CONSTANT)
    Q_PROPERTY(QVariantMap attention READ attention NOTIFY attentionChanged)
    // The phone companion's address and QR code (`url`, `qrSize`, `qrModules`); empty without a
    // record store, and then the shell has no Phone place.
    Q_PROPERTY(QVariantMap companion READ companion NOTIFY shellChanged)
    Q_PROPERTY(QObject* close READ closeObject CONSTANT)
    Q_PROPERTY(QObject* letter READ letterObject CONSTANT)
    Q_PROPERTY(QObject* sessions READ sessionsObject CONSTANT)
    // The made-up month offered after the first run; null in a further vault's window.
    Q_PROPERTY(QObject* demoOffer READ demoOfferObject CONSTANT)

public:
    TalloShellModel(const WindowServices& services, QObject* parent = nullptr);
    ~TalloShellModel() override;

    // False until the daemon has built the index.
    bool indexed() const;
    // Some set of books has a run.
    bool hasRuns() const;
    QString startText() const;
    // Each `slug` and `name`.
    QVariantList books() const;
    int booksIndex() const;
    const QString& selectedBooks() const { return books_; }
    const QString& period() const { return period_; }
    // `label`, `accessibleName`, `back`, `forward` (periods, empty when unavailable),
    // `backHelp`, `forwardHelp`.
    QVariantMap stepper() const;
    // Each `word` and `label`.
    QVariantList surfaces() const;
    QVariantMap companion() const;
    const QString& surface() const { return surface_; }
    void setSurface(const QString& word);
    int surfaceIndex() const;
    QString questionsEmptyTitle() const;
    QString questionsEmptyText() const;
    // What waits on the daemon's side: a pause for usage limits, or a close cut off mid-work
    // with its Resume. `title`, `detail`, `icon` (a symbol), `needsYou`, `period` (the cut-off
    // one); empty when nothing waits.
    QVariantMap attention() const;

    // The step into the period on screen, when a destination is shown.
    std::optional<TalloOneLevelDown> oneLevelDown() const;

    CloseRunModel& close() const { return *close_; }
    LetterModel& letter() const { return *letter_; }
    CloseSessionsModel& sessions() const { return *sessions_; }
    PeriodCloseStore& store() const { return *store_; }
    QObject* closeObject() const;
    QObject* letterObject() const;
    QObject* sessionsObject() const;
    DemoMonthOffer* demoOffer() const { return demoOffer_; }
    QObject* demoOfferObject() const;

    Q_INVOKABLE void selectBooks(const QString& slug);
    Q_INVOKABLE void goToPeriod(const QString& period);
    Q_INVOKABLE void startClose();
    // Resumes the close the attention item says was cut off.
    Q_INVOKABLE void resumeInterrupted();

    QCoro::Task<> load() override;

signals:
    void shellChanged();
    void surfaceChanged();
    void attentionChanged();

private:
    QCoro::Task<> loadBooks();
    QCoro::Task<> loadPeriod();
    void chooseBooks();
    void publishScope();
    void updateEmptyState();
    void announce();
    QString periodFolder() const;
    QStringList periods() const;
    void consumeDestination();
    void consumePeriodStep();
    void consumeBooksSelection();

    PeriodCloseStore* store_;
    CloseRunModel* close_;
    LetterModel* letter_;
    CloseSessionsModel* sessions_;
    DemoMonthOffer* demoOffer_;
    // The application's; none in a further vault's window, whose runs it does not watch.
    QPointer<QuotaWatcher> watcher_;
    QList<BooksRef> booksRefs_;
    QString books_;
    QString period_;
    QString surface_;
    bool loaded_ = false;
    QVariantList announced_; // what shellChanged last told the screen
};

} // namespace mnemora
