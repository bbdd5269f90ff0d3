#pragma once

#include <QString>

namespace mnemora::Log {

// One "[Source] message" line on the process log (standard output), flushed at once so that a
// supervisor reading the stream sees it in order.
void line(const QString& source, const QString& message);

} // namespace mnemora::Log
