#include "app/PortFile.h"

#include <QFile>

#include <limits>

namespace mnemora::PortFile {

std::optional<int> parse(const QByteArray& text) {
    const QByteArray trimmed = text.trimmed();
    qsizetype index = 0;
    bool negative = false;
    if (index < trimmed.size() && (trimmed[index] == '+' || trimmed[index] == '-')) {
        negative = trimmed[index] == '-';
        ++index;
    }
    if (index == trimmed.size()) {
        return std::nullopt;
    }
    long long value = 0;
    for (; index < trimmed.size(); ++index) {
        const char c = trimmed[index];
        if (c < '0' || c > '9') {
            return std::nullopt;
        }
        value = value * 10 + (c - '0');
        if (value > static_cast<long long>(std::numeric_limits<int>::max()) + 1) {
            return std::nullopt;
        }
    }
    if (negative) {
        value = -value;
    }
    if (value > std::numeric_limits<int>::max() || value < std::numeric_limits<int>::min()) {
        return std::nullopt;
    }
    return static_cast<int>(value);
}

std::optional<int> read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    return parse(file.readAll());
}

QString pathIn(const QString& folder) {
    return folder + QStringLiteral("/daemon.port");
}

} // namespace mnemora::PortFile
