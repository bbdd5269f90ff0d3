#pragma once

#include <QLoggingCategory>
#include <QPointer>

#include <QCoroTask>

namespace mnemora {

class ConfigService;

Q_DECLARE_LOGGING_CATEGORY(lcDefaultsBootstrap)

// One-shot machine tuning: the first time the daemon is there to ask, it recommends values for
// this machine and they are merged into the configuration, with a marker so it never repeats.
namespace DefaultsBootstrap {

inline constexpr const char* kMigrationMarker = "v0.11_first_run_defaults";

enum class Outcome {
    alreadyApplied,
    portUnreadable,
    requestFailed,
    rejected,
    writeFailed,
    applied
};

QCoro::Task<Outcome> run(QPointer<ConfigService> config);

} // namespace DefaultsBootstrap

} // namespace mnemora
