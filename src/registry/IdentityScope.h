#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// Which identity's rows a query sees: the active one, all, or a named one.
struct IdentityScope {
    enum class Kind { active, all, specific };
    Kind kind = Kind::active;
    QString id; // for `specific`

    static IdentityScope active() { return {Kind::active, {}}; }
    static IdentityScope all() { return {Kind::all, {}}; }
    static IdentityScope specific(const QString& id) { return {Kind::specific, id}; }

    bool operator==(const IdentityScope&) const = default;
};

} // namespace mnemora
