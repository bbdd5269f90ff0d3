#include "setup/IdentityNamingStep.h"

#include <QFile>

namespace mnemora {

IdentityNamingStep::IdentityNamingStep(QString root, QObject* parent)
    : QObject(parent)
    , root_(std::move(root)) {}

void IdentityNamingStep::setIdentityId(const QString& id) {
    identityId_ = id.trimmed();
    idChosen_ = !identityId_.isEmpty();
    refreshPreview();
}

void IdentityNamingStep::setDisplayName(const QString& name) {
    displayName_ = name;
    if (!idChosen_) {
        identityId_ = slugOf(name);
    }
    refreshPreview();
}

QString IdentityNamingStep::slugOf(const QString& name) {
    QString slug;
    for (const QChar c : name.trimmed().toLower()) {
        if (c.isLetterOrNumber()) {
            slug += c;
        } else if (!slug.isEmpty() && !slug.endsWith(QLatin1Char('-'))) {
            slug += QLatin1Char('-');
        }
    }
    while (slug.endsWith(QLatin1Char('-'))) {
        slug.chop(1);
    }
    return slug;
}

int IdentityNamingStep::entriesIn(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return -1;
    }
    int entries = 0;
    for (const QByteArray& line : file.readAll().split('\n')) {
        if (line.trimmed().startsWith("- ")) {
            ++entries;
        }
    }
    return entries;
}

void IdentityNamingStep::refreshPreview() {
    preview_.reset();
    if (!identityId_.isEmpty()) {
        const QString name = identityId_ + QStringLiteral(".yaml");
        const int photos = entriesIn(root_ + QStringLiteral("/generate/photos/manifests/") + name);
        const int memos = entriesIn(root_ + QStringLiteral("/generate/audio/manifests/") + name);
        if (photos >= 0 || memos >= 0) {
            preview_ = Preview{qMax(photos, 0), qMax(memos, 0)};
        }
    }
    emit changed();
}

QString IdentityNamingStep::previewText() const {
    if (!preview_) {
        return {};
    }
    return QString::number(preview_->photos) + QStringLiteral(" photos · ") +
           QString::number(preview_->voiceMemos) + QStringLiteral(" voice memos");
}

} // namespace mnemora
