#include "platform/PowerProbe.h"

#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QProcess>

#include <QCoroProcess>

#include <chrono>
#include <memory>

namespace mnemora {

namespace {

QString readWord(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(file.readAll()).trimmed();
}

// A tool that hangs must not hold the refresh for ever.
constexpr std::chrono::milliseconds profileToolLimit{5'000};

} // namespace

PowerProbe::PowerProbe(QObject* parent)
    : QObject(parent) {}

bool PowerProbe::onAC() const {
    const QDir folder(supplyFolder_);
    const QStringList supplies = folder.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    bool hasBattery = false;
    for (const QString& supply : supplies) {
        const QString base = folder.filePath(supply) + QLatin1Char('/');
        const QString type = readWord(base + QStringLiteral("type"));
        if (type.compare(QStringLiteral("Battery"), Qt::CaseInsensitive) == 0) {
            hasBattery = true;
            continue;
        }
        if (readWord(base + QStringLiteral("online")) == QStringLiteral("1")) {
            return true;
        }
    }
    return !hasBattery;
}

QCoro::Task<std::optional<QString>> PowerProbe::activeProfile() const {
    QStringList command = profileCommand_;
    if (command.isEmpty()) {
        co_return std::nullopt;
    }
    auto process = std::make_unique<QProcess>();
    process->setProgram(command.takeFirst());
    process->setArguments(command);
    process->setStandardInputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
    // Starting is only the fork and exec: a missing tool fails here at once.
    process->start();
    if (!process->waitForStarted()) {
        co_return std::nullopt;
    }
    QCoro::Task<bool> finishing = qCoro(process.get()).waitForFinished(profileToolLimit);
    // A tool that ended before the wait began counts as finished too.
    if (!co_await finishing && process->state() != QProcess::NotRunning) {
        process->kill();
        process->waitForFinished();
        co_return std::nullopt;
    }
    if (process->exitStatus() != QProcess::NormalExit || process->exitCode() != 0) {
        co_return std::nullopt;
    }
    co_return QString::fromUtf8(process->readAllStandardOutput()).trimmed();
}

QCoro::Task<PowerReading> PowerProbe::read() const {
    PowerReading reading;
    reading.onAC = onAC();
    QCoro::Task<std::optional<QString>> asking = activeProfile();
    const std::optional<QString> profile = co_await asking;
    reading.lowPower = profile == QStringLiteral("power-saver");
    reading.highPower = profile == QStringLiteral("performance");
    co_return reading;
}

void PowerProbe::watchProfileChanges() {
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected()) {
        return;
    }
    for (const char* service :
         {"net.hadess.PowerProfiles", "org.freedesktop.UPower.PowerProfiles"}) {
        const QString name = QString::fromLatin1(service);
        const QString path =
            QLatin1Char('/') + QString(name).replace(QLatin1Char('.'), QLatin1Char('/'));
        bus.connect(name, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                    QStringLiteral("PropertiesChanged"), this, SLOT(onPropertiesChanged(QString)));
    }
}

void PowerProbe::onPropertiesChanged(const QString& interface) {
    Q_UNUSED(interface);
    emit profileChanged();
}

} // namespace mnemora
