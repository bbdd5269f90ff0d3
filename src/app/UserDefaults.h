#pragma once

#include <QByteArray>
#include <QSettings>
#include <QString>

#include <memory>
#include <optional>

namespace mnemora {

// The interface's own preferences, kept per bundle identifier in an INI file under the user's
// preferences folder. Keys are dotted as the products have always named them.
class UserDefaults {
public:
    // Keys of the products.
    static constexpr const char* onboardingComplete = "mn.onboarding.v1.complete";
    static constexpr const char* onboardingStep = "mn.onboarding.v1.step";
    static constexpr const char* photosStatusDetermined = "mn.photos.statusDetermined";
    static constexpr const char* showSessionTerminal = "tallo.showSessionTerminal";
    static constexpr const char* packetHasSentBefore = "tallo.packet.hasSentBefore";
    static constexpr const char* demoOfferDeclined = "tallo.firstRun.demoOffer.declined.v1";
    static constexpr const char* demoOfferPending = "tallo.firstRun.demoOffer.pending.v1";
    static constexpr const char* letterLeaveTheMacOffered = "tallo.letter.leaveTheMacOffered";
    static constexpr const char* syncEngineState = "syncedDocs.engineState.v1";
    // The sync engine's state for a named zone: "syncedDocs.engineState.v1.{zone}".
    static QString syncEngineStateKey(const QString& zone);

    // The store of the running product's bundle identifier.
    UserDefaults();
    explicit UserDefaults(const QString& bundleIdentifier);

    // The file that holds the values.
    QString filePath() const;

    bool boolValue(const QString& key) const; // false when absent
    void setBool(const QString& key, bool value);
    std::optional<QString> stringValue(const QString& key) const;
    void setString(const QString& key, const QString& value);
    std::optional<QByteArray> dataValue(const QString& key) const;
    void setData(const QString& key, const QByteArray& value);
    void remove(const QString& key);

private:
    std::unique_ptr<QSettings> settings_;
};

} // namespace mnemora
