#include "setup/IdentityNamingStep.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonObject>
#include <QRegularExpression>

#include "app/ConfigService.h"

namespace mnemora {

IdentityNamingStep::IdentityNamingStep(QString root, QObject* parent)
    : QObject(parent)
    , root_(std::move(root)) {}

void IdentityNamingStep::takeFrom(const ConfigService& config) {
    const std::optional<QString> id = config.activeIdentityId();
    if (!id) {
        return;
    }
    displayName_ = config.activeIdentityDisplayName().value_or(QString());
    setIdentityId(*id);
}

void IdentityNamingStep::setIdentityId(const QString& id) {
    identityId_ = id.trimmed();
    idChosen_ = !identityId_.isEmpty();
    // An emptied short name follows the name again.
    if (!idChosen_) {
        identityId_ = slugOf(displayName_);
    }
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
    // Accents fall away ("Åsa" gives "asa"): the id names folders and travels in URLs.
    for (const QChar c : name.trimmed().toLower().normalized(QString::NormalizationForm_KD)) {
        if (c.category() == QChar::Mark_NonSpacing) {
            continue;
        }
        if (c.unicode() < 0x80 && c.isLetterOrNumber()) {
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

namespace mnemora {

QString IdentityNamingStep::problem() const {
    if (displayName_.trimmed().isEmpty()) {
        return QStringLiteral("Give the identity a name first.");
    }
    static const QRegularExpression shortName(QStringLiteral("^[a-z0-9]+(-[a-z0-9]+)*$"));
    if (!shortName.match(identityId_).hasMatch()) {
        return QStringLiteral(
            "The short name can hold only lower-case letters, digits and single hyphens.");
    }
    return {};
}

Expected<void> IdentityNamingStep::write(ConfigService& config, const QDateTime& now) const {
    if (const QString why = problem(); !why.isEmpty()) {
        return fail(why);
    }
    QJsonArray identities = config.config().value(QLatin1String("identities")).toArray();
    bool known = false;
    bool hasDefault = false;
    for (qsizetype i = 0; i < identities.size(); ++i) {
        QJsonObject entry = identities.at(i).toObject();
        hasDefault = hasDefault || entry.value(QLatin1String("is_default")).toBool();
        if (entry.value(QLatin1String("id")).toString() == identityId_) {
            entry.insert(QStringLiteral("display_name"), displayName_.trimmed());
            identities.replace(i, entry);
            known = true;
        }
    }
    if (!known) {
        identities.append(
            QJsonObject{{QStringLiteral("id"), identityId_},
                        {QStringLiteral("display_name"), displayName_.trimmed()},
                        {QStringLiteral("created_at"), now.toUTC().toString(Qt::ISODate)},
                        {QStringLiteral("is_default"), !hasDefault}});
    }
    if (!config.write({{QStringLiteral("identities"), QJsonValue(identities)},
                       {QStringLiteral("active_identity_id"), QJsonValue(identityId_)}})) {
        return fail(config.lastError());
    }
    return {};
}

} // namespace mnemora
