#pragma once

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariantList>

#include <QCoroTask>

#include <optional>

#include "app/ConfigService.h"
#include "platform/Expected.h"
#include "platform/TerminalLauncher.h"

namespace mnemora {

// What the three seed services share: finding the bundled templates of one kind, and opening a
// terminal in the vault's data folder with `claude` primed by a template's body. The services
// install nothing themselves; the session a seed starts does.
class SeedService : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariantList rows READ rows NOTIFY seedsChanged)
    Q_PROPERTY(bool empty READ isEmpty NOTIFY seedsChanged)
    Q_PROPERTY(QString lastError READ lastErrorText NOTIFY lastErrorChanged)
    Q_PROPERTY(QString emptyTitle READ emptyTitle CONSTANT)
    Q_PROPERTY(QString emptyText READ emptyText CONSTANT)

public:
    // One template as read: its path and its front matter.
    struct Template {
        QString path;
        QHash<QString, QString> pairs;
    };

    SeedService(QString kindFolder, QObject* parent = nullptr);
    ~SeedService() override;

    ConfigService* config() const { return config_; }
    void setConfig(ConfigService* config) { config_ = config; }
    // The terminal sessions open in; the service's own unless another is set.
    TerminalLauncher& terminal() const { return *terminal_; }
    void setTerminal(TerminalLauncher* terminal);
    // Where the bundle's resources are; the running bundle's unless set.
    QString resourcesFolder() const;
    void setResourcesFolder(const QString& folder) { resourcesFolder_ = folder; }

    // The vault root sessions run in: the configured vault, else ~/{appDisplayName}.
    QString dataFolder() const;

    // The seeds as rows for the screens: id, title, description, and the kind's own fields.
    virtual QVariantList rows() const = 0;
    bool isEmpty() const { return rows().isEmpty(); }
    const std::optional<QString>& lastError() const { return lastError_; }
    QString lastErrorText() const { return lastError_.value_or(QString()); }
    virtual QString emptyTitle() const;
    virtual QString emptyText() const;

    // Reads the templates again; unreadable and partial ones are left out without a word.
    virtual QCoro::Task<> refresh() = 0;

    // Opens the session of the seed with this id, or says why it could not.
    QCoro::Task<Expected<void>> launch(QString id);
    // A plain Claude Code session in the data folder, primed with nothing.
    QCoro::Task<Expected<void>> launchCustomSession();

signals:
    void seedsChanged();
    void lastErrorChanged();

protected:
    // Every readable template of this kind with front matter, in file-name order.
    QList<Template> readTemplates() const;
    void setLastError(const std::optional<QString>& error);
    // The template of a listed seed.
    virtual std::optional<QString> templateOf(const QString& id) const = 0;
    // Why no session may open now; none by default.
    virtual std::optional<QString> launchBlocker() const { return std::nullopt; }

private:
    QCoro::Task<Expected<void>> openSession(std::optional<QString> primer);

    QString kindFolder_;
    QPointer<ConfigService> config_;
    QPointer<TerminalLauncher> terminal_;
    std::optional<QString> resourcesFolder_;
    std::optional<QString> lastError_;
};

} // namespace mnemora
