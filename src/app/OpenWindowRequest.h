#pragma once

#include <QString>

#include <optional>

namespace mnemora {

// How code that is no screen asks for a window: a scene identifier and an optional value.
struct OpenWindowRequest {
    QString id;
    std::optional<QString> value;

    bool operator==(const OpenWindowRequest&) const = default;
};

} // namespace mnemora
