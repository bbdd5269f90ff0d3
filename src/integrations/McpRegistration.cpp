#include "integrations/McpRegistration.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace mnemora::McpRegistration {

bool isRegistered(const QString& vaultRoot, Brand brand) {
    QFile file(vaultRoot + QStringLiteral("/.mcp.json"));
    if (!file.open(QIODevice::ReadOnly)) {
        return false;
    }
    const QString text = QString::fromUtf8(file.readAll());
    return text.contains(QLatin1Char('"') + BrandProfile::serverKey(brand) + QLatin1Char('"'));
}

QString registeredText(const QString& vaultRoot) {
    return QStringLiteral("Registered in ") + vaultRoot;
}

QString notRegisteredTitle() {
    return QStringLiteral("Not yet registered in your data folder");
}

QString notRegisteredText() {
    return QStringLiteral("Enable Claude Code in Settings → Features. The app writes `.mcp.json` "
                          "into your data folder on next launch so `claude` sessions opened there "
                          "auto-discover the registry.");
}

QString snippet(Brand brand, const QString& daemonBinaryPath) {
    const QJsonObject server{{QStringLiteral("command"), daemonBinaryPath},
                             {QStringLiteral("args"), QJsonArray{QStringLiteral("mcp-server")}}};
    const QJsonObject root{
        {QStringLiteral("mcpServers"), QJsonObject{{BrandProfile::serverKey(brand), server}}}};
    return QString::fromUtf8(QJsonDocument(root).toJson(QJsonDocument::Indented)).trimmed();
}

QString snippetHeading() {
    return QStringLiteral("Add to a project's `.mcp.json`");
}

} // namespace mnemora::McpRegistration
