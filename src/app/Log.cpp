#include "app/Log.h"

#include <cstdio>

namespace mnemora::Log {

void line(const QString& source, const QString& message) {
    const QByteArray text =
        (QLatin1Char('[') + source + QStringLiteral("] ") + message + QLatin1Char('\n')).toUtf8();
    std::fwrite(text.constData(), 1, static_cast<size_t>(text.size()), stdout);
    std::fflush(stdout);
}

} // namespace mnemora::Log
