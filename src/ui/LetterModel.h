#pragma once

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QUrl>
#include <QVariantList>

#include <QCoroTask>

#include "periodclose/LetterDocument.h"
#include "platform/Expected.h"

namespace mnemora {

class DaemonService;
class PeriodCloseStore;

// The letter to the accountant for one period: the run's draft as far as it is written, who it
// goes to, the files to attach with where each came from, and what passed between the user and
// the accountant since. The user sends it from their own mail program: the letter is copied to
// the clipboard, or opened there as a new message; a draft the run marked not ready is refused
// both. Notes are added through the daemon, which alone writes the log.
class LetterModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool hasDraft READ hasDraft NOTIFY changed)
    Q_PROPERTY(QString to READ to NOTIFY changed)
    Q_PROPERTY(QString cc READ cc NOTIFY changed)
    Q_PROPERTY(QString subject READ subject NOTIFY changed)
    Q_PROPERTY(QString notes READ notes NOTIFY changed)
    Q_PROPERTY(bool notReady READ notReady NOTIFY changed)
    Q_PROPERTY(QString proseKind READ proseKind NOTIFY changed)
    Q_PROPERTY(QString greeting READ greeting NOTIFY changed)
    Q_PROPERTY(QString signOff READ signOff NOTIFY changed)
    Q_PROPERTY(int ghostLines READ ghostLines NOTIFY changed)
    Q_PROPERTY(QStringList paragraphs READ paragraphs NOTIFY changed)
    Q_PROPERTY(QStringList paragraphsAfter READ paragraphsAfter NOTIFY changed)
    Q_PROPERTY(QVariantList attachments READ attachments NOTIFY changed)
    Q_PROPERTY(QVariantList tally READ tally NOTIFY changed)
    Q_PROPERTY(QString instruction READ instruction NOTIFY changed)
    Q_PROPERTY(bool hasAttachmentsFolder READ hasAttachmentsFolder NOTIFY changed)
    Q_PROPERTY(QVariantList correspondence READ correspondence NOTIFY changed)
    Q_PROPERTY(bool canSend READ canSend NOTIFY changed)
    Q_PROPERTY(QString sendRefusal READ sendRefusal NOTIFY changed)
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(QString errorText READ errorText NOTIFY messageChanged)

public:
    LetterModel(PeriodCloseStore* store, DaemonService* daemon, QObject* parent = nullptr);

    // The period folder the run writes the letter into; `recipient` is the books' accountant
    // address, used when the draft names none.
    void setScope(const QString& books, const QString& period, const QString& folder,
                  const QString& recipient);
    // Reads the draft, the staged files and the log again.
    void reload();

    bool hasDraft() const { return hasDraft_; }
    QString to() const;
    QString cc() const { return draft_.cc.value_or(QString()); }
    QString subject() const { return draft_.subject.value_or(QString()); }
    QString notes() const { return draft_.notes.value_or(QString()); }
    bool notReady() const { return draft_.notReady; }
    // "written", "filling" or "skeleton".
    QString proseKind() const;
    QString greeting() const;
    QString signOff() const;
    int ghostLines() const;
    // The letter as rich text, without Markdown marks: all of a written letter, or what stands
    // before and after the place the run is writing at.
    QStringList paragraphs() const;
    QStringList paragraphsAfter() const;
    QVariantList attachments() const { return attachments_; }
    QVariantList tally() const { return tally_; }
    QString instruction() const;
    bool hasAttachmentsFolder() const;
    QVariantList correspondence() const { return correspondence_; }
    bool canSend() const { return sendRefusal().isEmpty(); }
    // Why the letter cannot go yet; empty when it can.
    QString sendRefusal() const;
    const QString& message() const { return message_; }
    const QString& errorText() const { return errorText_; }

    // The `mailto:` link of the letter: recipient, copy, subject and plain body.
    QUrl mailtoUrl() const;

    Q_INVOKABLE void copy();
    Q_INVOKABLE void openInMail();
    Q_INVOKABLE void revealAttachments();
    Q_INVOKABLE void addNote(const QString& text);

    QCoro::Task<> saveNote(QString text);

signals:
    void changed();
    void messageChanged();

private:
    QString attachmentsFolder() const;
    void readAttachments();
    void readCorrespondence();
    void report(const QString& message, const QString& error);

    QPointer<PeriodCloseStore> store_;
    QPointer<DaemonService> daemon_;
    QString books_;
    QString period_;
    QString folder_;
    QString recipient_;
    bool hasDraft_ = false;
    LetterDocument::Draft draft_;
    LetterDocument::Prose prose_;
    QVariantList attachments_;
    QVariantList tally_;
    int attachmentCount_ = 0;
    QVariantList correspondence_;
    QString message_;
    QString errorText_;
};

} // namespace mnemora
