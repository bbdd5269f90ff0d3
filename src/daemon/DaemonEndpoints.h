#pragma once

#include <QPointer>

#include <QCoroTask>

#include <optional>

#include "daemon/QueuePositions.h"

namespace mnemora {

class DaemonService;

// The daemon's HTTP interface as typed operations. A read that cannot reach the daemon, times out
// or is refused gives an absent result: screens keep what they showed. An action gives the
// failure words to show, empty on success; without a port they are those of a refused
// connection.
namespace DaemonEndpoints {

// `GET queue/positions`.
QCoro::Task<std::optional<QueuePositions>> queuePositions(QPointer<DaemonService> daemon);

} // namespace DaemonEndpoints

} // namespace mnemora
