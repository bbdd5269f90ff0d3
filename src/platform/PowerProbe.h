#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

#include <QCoroTask>

#include <optional>

namespace mnemora {

// What the machine says of its power right now.
struct PowerReading {
    bool onAC = true;
    bool lowPower = false;  // the power profile is "power-saver"
    bool highPower = false; // the power profile is "performance"

    bool operator==(const PowerReading&) const = default;
};

// Reads the machine's power sources from the kernel's power-supply folder and the power profile
// from `powerprofilesctl get`. Both locations can be pointed elsewhere, so the rules can be
// checked over made-up trees and tools.
class PowerProbe : public QObject {
    Q_OBJECT

public:
    static constexpr const char* defaultSupplyFolder = "/sys/class/power_supply";

    explicit PowerProbe(QObject* parent = nullptr);

    const QString& supplyFolder() const { return supplyFolder_; }
    void setSupplyFolder(const QString& folder) { supplyFolder_ = folder; }
    // The program and arguments that print the active power profile.
    const QStringList& profileCommand() const { return profileCommand_; }
    void setProfileCommand(const QStringList& command) { profileCommand_ = command; }

    // True when a mains, USB or other non-battery supply is online, and also when there is no
    // battery at all or the folder cannot be read: a desktop is always on mains.
    bool onAC() const;

    // The active profile's name, trimmed; absent when the tool is missing or fails.
    QCoro::Task<std::optional<QString>> activeProfile() const;

    QCoro::Task<PowerReading> read() const;

    // Starts listening for the power-profiles service's change signal on the system bus; a
    // machine without the service or the bus simply never signals.
    void watchProfileChanges();

signals:
    void profileChanged();

private slots:
    void onPropertiesChanged(const QString& interface);

private:
    QString supplyFolder_ = QString::fromLatin1(defaultSupplyFolder);
    QStringList profileCommand_{QStringLiteral("powerprofilesctl"), QStringLiteral("get")};
};

} // namespace mnemora
