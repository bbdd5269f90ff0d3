#pragma once

#include <QByteArray>
#include <QString>

#include "platform/Expected.h"

namespace mnemora::refdaemon {

// Writes of documents into the vault on others' behalf: only vault-relative paths that stay inside
// the vault, symbolic links followed, are accepted.
namespace VaultWrite {

// The absolute path a vault-relative path names, or why it is refused.
Expected<QString> resolve(const QString& vaultPath, const QString& relativePath);

// Resolves and writes atomically, making the folders on the way.
Expected<void> write(const QString& vaultPath, const QString& relativePath,
                     const QByteArray& content);

} // namespace VaultWrite

} // namespace mnemora::refdaemon
