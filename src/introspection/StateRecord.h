#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

#include "introspection/HttpResponse.h"
#include "introspection/WindowContext.h"

namespace mnemora::StateRecord {

// The answer of `GET /state` for one window's context; `vaultPath` none is the primary window.
HttpResponse answer(const WindowContext& context, const std::optional<QString>& vaultPath,
                    const QStringList& vaultWindows, std::optional<int> port);

} // namespace mnemora::StateRecord
