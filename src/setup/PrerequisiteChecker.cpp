#include "setup/PrerequisiteChecker.h"

#include <QJsonArray>

#include <algorithm>

#include "app/JsonRead.h"
#include "daemon/DaemonEndpoints.h"

namespace mnemora::PrerequisiteChecker {

QList<Tool> fallback() {
    return {Tool{QStringLiteral("claude"), QStringLiteral("Claude Code CLI"), {}, {}, {}},
            Tool{QStringLiteral("tmux"), QStringLiteral("tmux"), {}, {}, {}}};
}

QList<Tool> toolsOf(const std::optional<QJsonObject>& answer) {
    if (!answer || !answer->value(QLatin1String("tools")).isArray()) {
        return fallback();
    }
    QList<Tool> tools;
    for (const QJsonValue& value : answer->value(QLatin1String("tools")).toArray()) {
        const QJsonObject entry = value.toObject();
        const std::optional<QString> id = JsonRead::string(entry, QLatin1String("id"));
        const std::optional<QString> label = JsonRead::string(entry, QLatin1String("label"));
        if (!id || !label) {
            continue;
        }
        Tool tool{*id, *label, JsonRead::stringOr(entry, QLatin1String("install_hint")), {}, {}};
        if (const auto url = JsonRead::string(entry, QLatin1String("install_url"))) {
            const QUrl parsed(*url, QUrl::StrictMode);
            if (parsed.isValid() && !parsed.scheme().isEmpty()) {
                tool.installUrl = parsed;
            }
        }
        const std::optional<QString> path = JsonRead::string(entry, QLatin1String("path"));
        tool.availability =
            path ? Availability::installed(*path) : Availability{Availability::Kind::missing, {}};
        tools << tool;
    }
    return tools;
}

QCoro::Task<QList<Tool>> fetch(QPointer<DaemonService> daemon) {
    QCoro::Task<std::optional<QJsonObject>> asking = DaemonEndpoints::prerequisites(daemon);
    const std::optional<QJsonObject> answer = co_await asking;
    co_return toolsOf(answer);
}

bool allInstalled(const QList<Tool>& tools) {
    return !tools.isEmpty() && std::all_of(tools.cbegin(), tools.cend(), [](const Tool& tool) {
        return tool.availability.kind == Availability::Kind::installed;
    });
}

QList<Tool> missingTools(const QList<Tool>& tools) {
    QList<Tool> missing;
    for (const Tool& tool : tools) {
        if (tool.availability.kind == Availability::Kind::missing) {
            missing << tool;
        }
    }
    return missing;
}

} // namespace mnemora::PrerequisiteChecker
