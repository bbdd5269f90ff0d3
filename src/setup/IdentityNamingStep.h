#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>

#include <optional>

#include "platform/Expected.h"

namespace mnemora {

class ConfigService;

// The step that lets the user give the vault's identity its name, with a preview of what the
// sample manifests of that name would bring in.
class IdentityNamingStep : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString identityId READ identityId WRITE setIdentityId NOTIFY changed)
    Q_PROPERTY(QString displayName READ displayName WRITE setDisplayName NOTIFY changed)
    Q_PROPERTY(QString previewText READ previewText NOTIFY changed)
    // Why the name cannot be kept as typed; empty while it can.
    Q_PROPERTY(QString problem READ problem NOTIFY changed)

public:
    struct Preview {
        int photos = 0;
        int voiceMemos = 0;
        bool operator==(const Preview&) const = default;
    };

    explicit IdentityNamingStep(QString root, QObject* parent = nullptr);

    // Starts from the identity the configuration already names as active, if any.
    void takeFrom(const ConfigService& config);

    const QString& identityId() const { return identityId_; }
    // An empty id hands the naming back to the display name.
    void setIdentityId(const QString& id);
    const QString& displayName() const { return displayName_; }
    // Also names the identity while the user has not named it apart: "Ada Lovelace" gives
    // "ada-lovelace".
    void setDisplayName(const QString& name);
    const std::optional<Preview>& preview() const { return preview_; }
    // "12 photos · 3 voice memos"; empty without manifests.
    QString previewText() const;

    QString problem() const;
    // Records the identity in the configuration as the active one: an entry of `identities`
    // (a known id keeps its creation time, a new one is the default when none is) and
    // `active_identity_id`. Refuses a name that cannot be kept, in the words of `problem`.
    Expected<void> write(ConfigService& config, const QDateTime& now) const;

    // The identity id a display name gives: lower-case ASCII letters and digits, accents dropped,
    // runs of other characters as one "-".
    static QString slugOf(const QString& name);
    // The entries of a manifest: its lines that begin "- ".
    static int entriesIn(const QString& path);

signals:
    void changed();

private:
    void refreshPreview();

    QString root_;
    QString identityId_;
    QString displayName_;
    bool idChosen_ = false;
    std::optional<Preview> preview_;
};

} // namespace mnemora
