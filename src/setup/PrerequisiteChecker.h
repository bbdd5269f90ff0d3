#pragma once

#include <QJsonObject>
#include <QList>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <QCoroTask>

#include <optional>

namespace mnemora {

class DaemonService;

// The outside tools the agent sessions need, as the daemon found them: the daemon is what runs
// them, so only it can say whether they are there.
namespace PrerequisiteChecker {

struct Availability {
    enum class Kind { installed, missing, unknown };
    Kind kind = Kind::unknown;
    QString path; // installed

    static Availability installed(QString path) { return {Kind::installed, std::move(path)}; }
    bool operator==(const Availability&) const = default;
};

struct Tool {
    QString id;
    QString label;
    QString installHint;
    std::optional<QUrl> installUrl;
    Availability availability;

    bool operator==(const Tool&) const = default;
};

// The daemon's `prerequisites` answer as tools; entries without `id` or `label` are dropped. An
// answer that is absent or has no `tools` array gives the fallback list.
QList<Tool> toolsOf(const std::optional<QJsonObject>& answer);
// Claude Code and tmux, neither known: what is shown while the daemon cannot say.
QList<Tool> fallback();
// Never fails: a daemon that cannot be asked gives the fallback.
QCoro::Task<QList<Tool>> fetch(QPointer<DaemonService> daemon);

// False for an empty list; an unknown tool holds it back like a missing one.
bool allInstalled(const QList<Tool>& tools);
// The missing tools in list order; unknown ones are not among them.
QList<Tool> missingTools(const QList<Tool>& tools);

} // namespace PrerequisiteChecker

} // namespace mnemora
