#pragma once

#include <QList>
#include <QPointer>

#include "daemon/DaemonService.h"
#include "integrations/SeedService.h"
#include "integrations/Seeds.h"

namespace mnemora {

// The skills a user can design with Claude Code, for this brand, in their order; whether Claude
// Code is there to do it and the data folder exists.
class SkillSeedService : public SeedService {
    Q_OBJECT
    Q_PROPERTY(bool claudeAvailable READ claudeAvailable NOTIFY seedsChanged)
    Q_PROPERTY(bool dataFolderReady READ dataFolderReady NOTIFY seedsChanged)

public:
    explicit SkillSeedService(QObject* parent = nullptr);

    DaemonService* daemon() const { return daemon_; }
    void setDaemon(DaemonService* daemon) { daemon_ = daemon; }

    const QList<SkillSeed>& seeds() const { return seeds_; }
    bool claudeAvailable() const { return claudeAvailable_; }
    bool dataFolderReady() const { return dataFolderReady_; }

    QVariantList rows() const override;
    QString emptyTitle() const override;
    QString emptyText() const override;
    QCoro::Task<> refresh() override;

    // Whether the daemon's tool list has `claude` installed; false when it could not say.
    static bool claudeInstalled(const std::optional<QJsonObject>& prerequisites);

protected:
    std::optional<QString> templateOf(const QString& id) const override;
    std::optional<QString> launchBlocker() const override;

private:
    QPointer<DaemonService> daemon_;
    QList<SkillSeed> seeds_;
    bool claudeAvailable_ = false;
    bool dataFolderReady_ = false;
};

} // namespace mnemora
