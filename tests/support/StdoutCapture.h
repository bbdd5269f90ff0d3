#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryFile>

namespace mnemora::test {

// Collects what this process writes to its standard output (the "[Source] message" log) while the
// capture lives. On destruction the text is written back to the real output, so nothing a failing
// test printed is lost.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();

    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    QString text() const;
    // The captured lines that begin with `prefix`, in order.
    QStringList linesStartingWith(const QString& prefix) const;

private:
    mutable QTemporaryFile file_;
    int savedFd_ = -1;
};

} // namespace mnemora::test
