#pragma once

#include <QObject>
#include <QString>

#include <functional>

#include "runtime/DemoVault.h"

namespace mnemora {

class AppStateStore;

// The offer Tallo makes once the first run has started the user's own close: watch a made-up
// month in a window of its own while the real one works. It stands while the first run left it
// pending and the user has not declined it.
class DemoMonthOffer : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(bool opening READ opening NOTIFY changed)
    Q_PROPERTY(QString failure READ failure NOTIFY changed)
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString detail READ detail CONSTANT)

public:
    // Builds the demo vault; the real one lays out the demo data under the home folder.
    using Maker = std::function<DemoVault::Result()>;

    explicit DemoMonthOffer(AppStateStore* appState, QObject* parent = nullptr);

    void setMaker(Maker maker) { maker_ = std::move(maker); }

    bool pending() const;
    bool declined() const;
    bool shown() const { return pending() && !declined(); }
    bool opening() const { return opening_; }
    const QString& failure() const { return failure_; }
    QString title() const;
    QString detail() const;

    // "Show me": the demo vault, opened in a window of its own; the offer is then spent.
    Q_INVOKABLE void accept();
    // "No thanks", for good.
    Q_INVOKABLE void decline();
    // The keys may have changed elsewhere (the first run leaves the offer pending).
    void refresh() { emit changed(); }

signals:
    void changed();

private:
    AppStateStore* appState_;
    Maker maker_;
    bool opening_ = false;
    QString failure_;
};

} // namespace mnemora
