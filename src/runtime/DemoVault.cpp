#include "runtime/DemoVault.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "app/VaultPaths.h"
#include "platform/AtomicFile.h"
#include "platform/Paths.h"

namespace mnemora::DemoVault {

namespace {

bool isPeriodName(const QString& name) {
    static const QRegularExpression period(QStringLiteral("^\\d{4}(-\\d{2})?$"));
    return period.match(name).hasMatch();
}

// Copies one file. A copy out of the bundled resources comes out read-only; the demo's files are
// the user's to change, as the run and the user change their own.
bool copyFile(const QString& from, const QString& to) {
    return QFile::copy(from, to) &&
           QFile::setPermissions(to, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                         QFileDevice::ReadGroup | QFileDevice::ReadOther);
}

// Copies a folder tree; an existing target is removed first so the copy replaces it whole.
bool replaceTree(const QString& source, const QString& target, QString* error) {
    if (QFileInfo::exists(target) && !QDir(target).removeRecursively()) {
        *error = QStringLiteral("could not remove ") + target;
        return false;
    }
    if (!QDir().mkpath(target)) {
        *error = QStringLiteral("could not create ") + target;
        return false;
    }
    QDirIterator it(source, QDir::AllEntries | QDir::NoDotAndDotDot | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString from = it.next();
        const QString to = target + from.mid(source.size());
        if (it.fileInfo().isDir()) {
            if (!QDir().mkpath(to)) {
                *error = QStringLiteral("could not create ") + to;
                return false;
            }
        } else if (!copyFile(from, to)) {
            *error = QStringLiteral("could not copy ") + from;
            return false;
        }
    }
    return true;
}

// Period folders directly in `from` replace their namesakes in `to`.
bool replacePeriods(const QString& from, const QString& to, QString* error) {
    const QFileInfoList entries = QDir(from).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QFileInfo& entry : entries) {
        if (isPeriodName(entry.fileName()) &&
            !replaceTree(entry.absoluteFilePath(), to + QLatin1Char('/') + entry.fileName(),
                         error)) {
            return false;
        }
    }
    return true;
}

bool layOutTalloFixtures(const QString& slug, const QString& vault, QString* error) {
    // A downloaded dataset wins; without one the month that ships with the application stands in,
    // so that "Show me" always opens a month to watch rather than empty books.
    const QString path = QStringLiteral("/fixtures/tallo/period-close");
    const QString downloaded = datasetFolder(slug) + path;
    const QString fixture = QFileInfo(downloaded).isDir() ? downloaded : bundledDataset(slug) + path;
    const QString fixtureBooks = fixture + QStringLiteral("/Notes/bookkeeping");
    const QString vaultBooks = vault + QStringLiteral("/Notes/bookkeeping");
    if (QFileInfo(fixtureBooks).isDir()) {
        if (!replacePeriods(fixtureBooks, vaultBooks, error)) {
            return false;
        }
        for (const QFileInfo& books :
             QDir(fixtureBooks).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
            if (!isPeriodName(books.fileName()) &&
                !replacePeriods(books.absoluteFilePath(),
                                vaultBooks + QLatin1Char('/') + books.fileName(), error)) {
                return false;
            }
        }
    }
    const QString fixtureRegistry = fixture + QStringLiteral("/Registry");
    for (const QFileInfo& identity :
         QDir(fixtureRegistry).entryInfoList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        const QString from = identity.absoluteFilePath() + QStringLiteral("/questions");
        if (!QFileInfo(from).isDir()) {
            continue;
        }
        const QString to = vault + QStringLiteral("/Registry/") + identity.fileName() +
                           QStringLiteral("/questions");
        if (!QDir().mkpath(to)) {
            *error = QStringLiteral("could not create ") + to;
            return false;
        }
        const QStringList pattern{QStringLiteral("q-*.md")};
        for (const QString& stale : QDir(to).entryList(pattern, QDir::Files)) {
            QFile::remove(to + QLatin1Char('/') + stale);
        }
        for (const QString& name : QDir(from).entryList(pattern, QDir::Files)) {
            if (!copyFile(from + QLatin1Char('/') + name, to + QLatin1Char('/') + name)) {
                *error = QStringLiteral("could not copy ") + name;
                return false;
            }
        }
    }
    return true;
}

bool writeDemoConfiguration(const QString& slug, const QString& displayName, const QString& vault,
                            QString* error) {
    const QString path = VaultPaths::vaultConfigFile(vault);
    if (QFileInfo::exists(path)) {
        return true;
    }
    const QString now = QDateTime::currentDateTimeUtc().toString(Qt::ISODate);
    const QStringList assets{QStringLiteral("photos"), QStringLiteral("voicememos")};
    const QJsonObject identity{{"id", slug},
                               {"display_name", displayName},
                               {"created_at", now},
                               {"is_default", true},
                               {"demo_dataset_root", datasetFolder(slug)}};
    const QJsonObject source{{"id", slug + QStringLiteral("-icloud")},
                             {"provider", "icloud"},
                             {"identity_id", slug},
                             {"label", "iCloud (demo)"},
                             {"known_tokens", QJsonArray{}},
                             {"content_types", QJsonArray::fromStringList(assets)},
                             {"created_at", now},
                             {"last_seen", now}};
    const QJsonObject config{
        {"onboarding_complete", true},
        {"onboarding_step", 99},
        {"selected_assets", QJsonArray::fromStringList(assets)},
        {"photos_permission_granted", false},
        {"full_disk_access_granted", false},
        {"mnemora_path", vault},
        {"identities", QJsonArray{identity}},
        {"active_identity_id", slug},
        {"cloud_sources", QJsonArray{source}},
        {"features", ConfigService::defaultFeatures(brand(), assets)},
    };
    if (const auto failure =
            writeFileAtomically(path, QJsonDocument(config).toJson(QJsonDocument::Indented))) {
        *error = *failure;
        return false;
    }
    return true;
}

} // namespace

QString bundledDataset(const QString& slug) {
    return QStringLiteral(":/demo/") + slug;
}

QString datasetFolder(const QString& slug) {
    return Paths::applicationSupportRoot() + QLatin1Char('/') + bundleIdentifier() +
           QStringLiteral("/DemoCache/") + slug;
}

Result make(const QString& slug, const QString& displayName) {
    const QString vault =
        Paths::home() + QLatin1Char('/') + appDisplayName() + QStringLiteral(" Demo");
    for (const char* folder : VaultPaths::kFolders) {
        const QString path = vault + QLatin1Char('/') + QLatin1String(folder);
        if (!QDir().mkpath(path)) {
            return {{}, QStringLiteral("could not create the folder ") + path};
        }
    }
    QString error;
    if (brand() == Brand::tallo && !layOutTalloFixtures(slug, vault, &error)) {
        return {{}, error};
    }
    if (!writeDemoConfiguration(slug, displayName, vault, &error)) {
        return {{}, error};
    }
    return {vault, {}};
}

QString failureText(const QString& error, Origin origin) {
    return QStringLiteral("Couldn't set the demo up: ") + error + QLatin1Char('\n') +
           (origin == Origin::ownPeriod ? QStringLiteral("Your own period is unaffected.")
                                        : QStringLiteral("You can still start on your own books."));
}

} // namespace mnemora::DemoVault
