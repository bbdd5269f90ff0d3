#include "platform/BundleInfo.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <climits>
#include <unistd.h>

namespace mnemora {

namespace {

std::optional<BundleInfo>& testOverride() {
    static std::optional<BundleInfo> value;
    return value;
}

QString stringValue(const QJsonObject& object, const char* key) {
    const QJsonValue value = object.value(QLatin1String(key));
    return value.isString() ? value.toString() : QString();
}

} // namespace

QString BundleInfo::resourcesFolder() const {
    return folder + QStringLiteral("/Resources");
}

QString BundleInfo::infoFilePath() const {
    return folder + QStringLiteral("/Info.json");
}

BundleInfo BundleInfo::read(const QString& folder) {
    BundleInfo info;
    info.folder = QDir::cleanPath(folder);
    QFile file(info.infoFilePath());
    if (!file.open(QIODevice::ReadOnly)) {
        return info;
    }
    const QJsonDocument document = QJsonDocument::fromJson(file.readAll());
    if (!document.isObject()) {
        return info;
    }
    const QJsonObject object = document.object();
    info.identifier = stringValue(object, "identifier");
    info.displayName = stringValue(object, "displayName");
    info.name = stringValue(object, "name");
    info.desktopEntry = stringValue(object, "desktopEntry");
    return info;
}

bool BundleInfo::isBundleFolder(const QString& folder) {
    return QFileInfo(folder + QStringLiteral("/Info.json")).isFile();
}

QString BundleInfo::executableFolder() {
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer - 1);
    if (length <= 0) {
        return QDir::currentPath();
    }
    return QFileInfo(QString::fromLocal8Bit(buffer, static_cast<qsizetype>(length))).absolutePath();
}

const BundleInfo& BundleInfo::main() {
    if (const auto& forced = testOverride()) {
        return *forced;
    }
    static const BundleInfo info = read(executableFolder());
    return info;
}

void BundleInfo::overrideMainForTesting(std::optional<BundleInfo> info) {
    testOverride() = std::move(info);
}

} // namespace mnemora
