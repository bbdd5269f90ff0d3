#pragma once

#include <QObject>
#include <QString>

#include <optional>

namespace mnemora {

// The step that lets the user give the vault's identity its name, with a preview of what the
// sample manifests of that name would bring in.
class IdentityNamingStep : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString identityId READ identityId WRITE setIdentityId NOTIFY changed)
    Q_PROPERTY(QString displayName READ displayName WRITE setDisplayName NOTIFY changed)
    Q_PROPERTY(QString previewText READ previewText NOTIFY changed)

public:
    struct Preview {
        int photos = 0;
        int voiceMemos = 0;
        bool operator==(const Preview&) const = default;
    };

    explicit IdentityNamingStep(QString root, QObject* parent = nullptr);

    const QString& identityId() const { return identityId_; }
    void setIdentityId(const QString& id);
    const QString& displayName() const { return displayName_; }
    // Also names the identity while the user has not named it apart: "Ada Lovelace" gives
    // "ada-lovelace".
    void setDisplayName(const QString& name);
    const std::optional<Preview>& preview() const { return preview_; }
    // "12 photos · 3 voice memos"; empty without manifests.
    QString previewText() const;

    // The identity id a display name gives: lower case, runs of other characters as one "-".
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
