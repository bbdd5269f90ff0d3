#pragma once

#include <QObject>

class QSocketNotifier;

namespace mnemora {

// Turns SIGTERM and SIGINT into a Qt signal on the main thread, so that a session manager's
// request to end (or Ctrl-C) quits through the application's ordinary termination order.
class TerminationSignals : public QObject {
    Q_OBJECT

public:
    explicit TerminationSignals(QObject* parent = nullptr);
    ~TerminationSignals() override;

    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;

signals:
    void terminationRequested(int signalNumber);

private:
    void drain();

    QSocketNotifier* notifier_ = nullptr;
};

} // namespace mnemora
