#include "integrations/SeedService.h"

#include <QDir>

#include "app/Brand.h"
#include "app/ConfigService.h"
#include "integrations/SeedTemplates.h"
#include "platform/BundleInfo.h"
#include "platform/Paths.h"
#include "platform/TerminalLauncher.h"

namespace mnemora {

SeedService::SeedService(QString kindFolder, QObject* parent)
    : QObject(parent)
    , kindFolder_(std::move(kindFolder))
    , terminal_(new TerminalLauncher(this)) {}

SeedService::~SeedService() = default;

void SeedService::setTerminal(TerminalLauncher* terminal) {
    terminal_ = terminal;
}

QString SeedService::resourcesFolder() const {
    return resourcesFolder_.value_or(BundleInfo::main().resourcesFolder());
}

QString SeedService::dataFolder() const {
    if (config_) {
        return config_->vaultRoot();
    }
    return Paths::home() + QLatin1Char('/') + appDisplayName();
}

QString SeedService::emptyTitle() const {
    return QStringLiteral("No templates bundled");
}

QString SeedService::emptyText() const {
    return QStringLiteral("The app bundle should contain %1/*.md. Reinstall the app to restore "
                          "them.")
        .arg(kindFolder_);
}

QList<SeedService::Template> SeedService::readTemplates() const {
    QList<Template> templates;
    for (const QString& path : SeedTemplates::list(resourcesFolder(), kindFolder_)) {
        const std::optional<QString> text = SeedTemplates::read(path);
        if (!text) {
            continue;
        }
        if (auto pairs = SeedTemplates::frontMatter(*text)) {
            templates << Template{path, std::move(*pairs)};
        }
    }
    return templates;
}

void SeedService::setLastError(const std::optional<QString>& error) {
    if (error != lastError_) {
        lastError_ = error;
        emit lastErrorChanged();
    }
}

QCoro::Task<Expected<void>> SeedService::launch(QString id) {
    if (const std::optional<QString> blocker = launchBlocker()) {
        co_return fail(*blocker);
    }
    const std::optional<QString> path = templateOf(id);
    const std::optional<QString> text = path ? SeedTemplates::read(*path) : std::nullopt;
    if (!text) {
        co_return fail(QStringLiteral("The seed template could not be read. Reinstall the app "
                                      "to restore it."));
    }
    QCoro::Task<Expected<void>> opening = openSession(SeedTemplates::primer(*text));
    co_return co_await opening;
}

QCoro::Task<Expected<void>> SeedService::launchCustomSession() {
    if (const std::optional<QString> blocker = launchBlocker()) {
        co_return fail(*blocker);
    }
    QCoro::Task<Expected<void>> opening = openSession(std::nullopt);
    co_return co_await opening;
}

QCoro::Task<Expected<void>> SeedService::openSession(std::optional<QString> primer) {
    const QString folder = dataFolder();
    if (!QDir().mkpath(folder)) {
        co_return fail(QStringLiteral("Could not create the data folder %1.").arg(folder));
    }
    QPointer<TerminalLauncher> terminal = terminal_;
    if (!terminal) {
        co_return fail(QStringLiteral("Could not open a terminal."));
    }
    QCoro::Task<TerminalLauncher::Result> running =
        terminal->runCommand(SeedTemplates::claudeLine(folder, primer));
    const TerminalLauncher::Result result = co_await running;
    if (result) {
        co_return fail(result->text());
    }
    co_return Expected<void>();
}

} // namespace mnemora
