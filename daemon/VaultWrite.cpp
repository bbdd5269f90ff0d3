#include "VaultWrite.h"

#include <QDir>
#include <QFileInfo>

#include "platform/AtomicFile.h"

namespace mnemora::refdaemon::VaultWrite {

namespace {

// The deepest existing folder on the way to `path`, with every link in it resolved.
QString realExistingAncestor(QString path) {
    while (!QFileInfo::exists(path)) {
        path = QFileInfo(path).absolutePath();
    }
    return QFileInfo(path).canonicalFilePath();
}

bool isInside(const QString& path, const QString& folder) {
    return path == folder || path.startsWith(folder + QLatin1Char('/'));
}

} // namespace

Expected<QString> resolve(const QString& vaultPath, const QString& relativePath) {
    if (relativePath.trimmed().isEmpty()) {
        return fail(QStringLiteral("path is empty"));
    }
    if (QDir::isAbsolutePath(relativePath) || relativePath.startsWith(QLatin1Char('~'))) {
        return fail(QStringLiteral("path must be relative to the vault: ") + relativePath);
    }
    if (relativePath.split(QLatin1Char('/')).contains(QStringLiteral(".."))) {
        return fail(QStringLiteral("path must not contain '..': ") + relativePath);
    }
    const QString vault = QFileInfo(vaultPath).canonicalFilePath();
    if (vault.isEmpty()) {
        return fail(QStringLiteral("vault folder not found: ") + vaultPath);
    }
    const QString target = QDir::cleanPath(vault + QLatin1Char('/') + relativePath);
    // A link anywhere on the way, the file itself included, must land inside the vault too.
    const QString real = QFileInfo(target).isSymLink() || QFileInfo::exists(target)
                             ? QFileInfo(target).canonicalFilePath()
                             : realExistingAncestor(target);
    const bool dangling = QFileInfo(target).isSymLink() && real.isEmpty();
    if (dangling || !isInside(real, vault) || target == vault) {
        return fail(QStringLiteral("path leads outside the vault: ") + relativePath);
    }
    return target;
}

Expected<void> write(const QString& vaultPath, const QString& relativePath,
                     const QByteArray& content) {
    const Expected<QString> target = resolve(vaultPath, relativePath);
    if (!target.ok()) {
        return fail(target.error());
    }
    if (!QDir().mkpath(QFileInfo(target.value()).absolutePath())) {
        return fail(QStringLiteral("could not make the folder for ") + relativePath);
    }
    if (const auto error = writeFileAtomically(target.value(), content)) {
        return fail(*error);
    }
    return {};
}

} // namespace mnemora::refdaemon::VaultWrite
