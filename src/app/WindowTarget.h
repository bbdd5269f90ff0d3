#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

namespace mnemora::WindowTarget {

// A window as automation sees it: its title, the vault it shows (none for the primary).
struct OpenWindow {
    QString title;
    std::optional<QString> vaultRoot;
    bool isPrimary = false;

    bool operator==(const OpenWindow&) const = default;
};

struct Resolution {
    enum class Kind { primary, vault, notResolved };
    Kind kind = Kind::notResolved;
    QString vaultPath;   // for `vault`, as listed
    QStringList matched; // for `notResolved`: titles of the windows matched, sorted

    bool operator==(const Resolution&) const = default;

    static Resolution primary() { return {Kind::primary, {}, {}}; }
    static Resolution vault(const QString& path) { return {Kind::vault, path, {}}; }
    static Resolution none(QStringList matched = {}) {
        return {Kind::notResolved, {}, std::move(matched)};
    }
};

// Names a window from a script's free text: "primary" (or nothing), a vault path, a vault path's
// part, or a window title. Pure: the caller passes the open vaults and windows.
Resolution resolve(const std::optional<QString>& requested, const QStringList& vaults,
                   const QList<OpenWindow>& windows);

} // namespace mnemora::WindowTarget
