#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QVariantList>

#include <QCoroTask>

#include <functional>
#include <optional>

#include "app/Brand.h"
#include "daemon/DaemonService.h"
#include "questions/QuestionService.h"
#include "setup/AgentAcceptance.h"

namespace mnemora {

// A login card's action held while the consent sheet is open.
struct PendingHandover {
    QString id;
    Question question;
    SuggestedAction action;
    AgentAcceptanceTrigger trigger;
};

// The one list of question cards: what the embedding screen gives it, answered inline or in a
// sheet, dismissed with an optional reason, taken into the asking session, and held at the
// consent sheet before a login card sends the agent into an account. Every write goes through
// `QuestionService`; a failure lands in `actionError` and the question stays open.
class QuestionsInbox : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QVariantList cards READ cards NOTIFY cardsChanged)
    Q_PROPERTY(bool empty READ isEmpty NOTIFY cardsChanged)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)
    Q_PROPERTY(QString moreButtonText READ moreButtonText NOTIFY cardsChanged)
    Q_PROPERTY(QString pileText READ pileText NOTIFY cardsChanged)
    Q_PROPERTY(bool answerInline READ answerInline CONSTANT)
    Q_PROPERTY(bool allowDismiss READ allowDismiss CONSTANT)
    Q_PROPERTY(bool showJoinSession READ showJoinSession CONSTANT)
    Q_PROPERTY(QString actionError READ actionErrorText NOTIFY changed)
    Q_PROPERTY(QVariantMap sheet READ sheet NOTIFY changed)
    Q_PROPERTY(QVariantMap handoverCopy READ handoverCopy NOTIFY changed)
    Q_PROPERTY(QObject* daemon READ daemonObject CONSTANT)

public:
    struct Options {
        QString title;
        std::optional<QString> emptyText;
        std::optional<int> maxVisible;
        bool showJoinSession = true;
        bool answerInline = true;
        bool allowDismiss = true;
    };
    using Clock = std::function<QDateTime()>;
    using ChangedCallback = std::function<QCoro::Task<>()>;

    static const QString kHomeEmptyText;
    static const QString kGoingBackIn;

    QuestionsInbox(Options options, QuestionService* questions, DaemonService* daemon,
                   QString vault, Brand brand, QObject* parent = nullptr);

    // The questions to list, as the embedding screen reads them.
    void setQuestions(QList<Question> questions);
    void setBooksNames(QStringList names);
    void setOnChanged(ChangedCallback callback) { onChanged_ = std::move(callback); }
    void setClock(Clock clock) { clock_ = std::move(clock); }

    const QString& title() const { return options_.title; }
    QVariantList cards() const;
    bool isEmpty() const { return questions_.isEmpty(); }
    QString emptyText() const { return options_.emptyText.value_or(QString()); }
    // "Show {n} more questions" while the list is cut short; empty otherwise.
    QString moreButtonText() const;
    // "{n} more" of a collapsed pile; empty otherwise.
    QString pileText() const;
    bool answerInline() const { return options_.answerInline; }
    bool allowDismiss() const { return options_.allowDismiss; }
    bool showJoinSession() const { return options_.showJoinSession; }
    const std::optional<QString>& actionError() const { return actionError_; }
    QString actionErrorText() const { return actionError_.value_or(QString()); }
    const std::optional<PendingHandover>& pendingHandover() const { return pendingHandover_; }
    QVariantMap handoverCopy() const;
    // The open sheet: mode, title, caption, placeholder, confirm label, question text; empty
    // when none is open.
    QVariantMap sheet() const;
    QObject* daemonObject() const { return daemon_.data(); }
    const QMap<QString, QString>& answered() const { return answered_; }

    // Whether a draft may be sent: it holds more than blanks and line feeds.
    Q_INVOKABLE static bool canSend(const QString& draft);
    Q_INVOKABLE void expand();
    Q_INVOKABLE void clearActionError();

    // What the user has typed into a card and not sent yet. Kept here rather than in the card,
    // so a draft outlives the card being rebuilt when the list changes; an answer sent clears it.
    Q_INVOKABLE QString draft(const QString& slug) const { return drafts_.value(slug); }
    Q_INVOKABLE void setDraft(const QString& slug, const QString& text);

    QCoro::Task<> answer(QString slug, QString text);
    QCoro::Task<> chooseAction(QString slug, int index);
    QCoro::Task<> acceptHandover();
    QCoro::Task<> declineHandover();
    QCoro::Task<> dismiss(QString slug, QString reason);
    QCoro::Task<> joinSession(QString slug);

    // The same, started and left for QML; each guards this model.
    Q_INVOKABLE void send(const QString& slug, const QString& text);
    Q_INVOKABLE void choose(const QString& slug, int index);
    Q_INVOKABLE void chooseAllocation(const QString& slug, const QString& name);
    Q_INVOKABLE void accept();
    Q_INVOKABLE void decline();
    Q_INVOKABLE void join(const QString& slug);
    Q_INVOKABLE void openAnswerSheet(const QString& slug);
    Q_INVOKABLE void openDismissSheet(const QString& slug);
    Q_INVOKABLE void submitSheet(const QString& text);
    Q_INVOKABLE void closeSheet();

signals:
    // The cards themselves; a screen rebuilds its card views on it, so it fires only when they
    // differ.
    void cardsChanged();
    void changed();

private:
    std::optional<Question> find(const QString& slug) const;
    QVariantMap card(const Question& question) const;
    QList<SuggestedAction> actionsOf(const Question& question) const;
    void setActionError(std::optional<QString> error);
    QCoro::Task<> notifyChanged();

    Options options_;
    QPointer<QuestionService> service_;
    QPointer<DaemonService> daemon_;
    QString vault_;
    Brand brand_;
    QList<Question> questions_;
    QStringList booksNames_;
    ChangedCallback onChanged_;
    Clock clock_;
    std::optional<QString> pendingAnswer_;
    std::optional<QString> pendingDismiss_;
    std::optional<PendingHandover> pendingHandover_;
    std::optional<QString> actionError_;
    QMap<QString, QString> answered_;
    QHash<QString, QString> drafts_;
    QStringList goingBackIn_;
    bool peekExpanded_ = false;
};

} // namespace mnemora
