#include "support/StdoutCapture.h"

#include <cstdio>
#include <stdexcept>
#include <unistd.h>

namespace mnemora::test {

StdoutCapture::StdoutCapture() {
    if (!file_.open()) {
        throw std::runtime_error("could not open a capture file");
    }
    std::fflush(stdout);
    savedFd_ = ::dup(STDOUT_FILENO);
    ::dup2(file_.handle(), STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() {
    std::fflush(stdout);
    ::dup2(savedFd_, STDOUT_FILENO);
    ::close(savedFd_);
    const QByteArray captured = text().toUtf8();
    std::fwrite(captured.constData(), 1, static_cast<size_t>(captured.size()), stdout);
    std::fflush(stdout);
}

QString StdoutCapture::text() const {
    std::fflush(stdout);
    QFile reader(file_.fileName());
    if (!reader.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(reader.readAll());
}

QStringList StdoutCapture::linesStartingWith(const QString& prefix) const {
    QStringList lines;
    for (const QString& line : text().split(QLatin1Char('\n'))) {
        if (line.startsWith(prefix)) {
            lines << line;
        }
    }
    return lines;
}

} // namespace mnemora::test
