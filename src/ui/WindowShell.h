#pragma once

#include <QMap>
#include <QObject>
#include <QPointer>
#include <QVariantList>

#include <QCoroTask>

#include "app/Brand.h"
#include "app/OpenWindowRequest.h"
#include "ui/WindowServices.h"

namespace mnemora {

class CommandBarModel;
class ConflictsNotice;
class FirstRunView;
class ScreenModel;
class VaultWindowModel;

// The root view's model of one window: the brand's sidebar with one screen per item, the daemon
// state at the sidebar's foot, the command bar, and the consumer of the window store's
// `pending...` fields. A vault window shows "Opening vault…" until its runtime has started.
class WindowShell : public QObject {
    Q_OBJECT
    Q_PROPERTY(QString title READ title CONSTANT)
    Q_PROPERTY(QString windowTag READ windowTag CONSTANT)
    Q_PROPERTY(int minimumWidth READ minimumWidth CONSTANT)
    Q_PROPERTY(int minimumHeight READ minimumHeight CONSTANT)
    Q_PROPERTY(bool opening READ opening NOTIFY openingChanged)
    Q_PROPERTY(QString openingText READ openingText NOTIFY openingChanged)
    Q_PROPERTY(QVariantList sidebarItems READ sidebarItems CONSTANT)
    Q_PROPERTY(QString selection READ selection WRITE setSelection NOTIFY selectionChanged)
    Q_PROPERTY(int selectionIndex READ selectionIndex NOTIFY selectionChanged)
    Q_PROPERTY(QString daemonHeadline READ daemonHeadline NOTIFY daemonChanged)
    Q_PROPERTY(QString daemonDetail READ daemonDetail NOTIFY daemonChanged)
    Q_PROPERTY(bool showCommandBar READ showCommandBar WRITE setShowCommandBar NOTIFY
                   showCommandBarChanged)
    Q_PROPERTY(QObject* commandBar READ commandBarObject CONSTANT)
    // The primary window's migration gate; null in a vault window.
    Q_PROPERTY(QObject* migrationGate READ migrationGate CONSTANT)
    // Tallo's window: the shell of its books, whose places the sidebar lists; null otherwise.
    Q_PROPERTY(QObject* talloShell READ talloShell CONSTANT)
    // The primary window's first run; null in a vault window.
    Q_PROPERTY(QObject* firstRun READ firstRunObject CONSTANT)
    // The line about sync conflicts of the window's vault.
    Q_PROPERTY(QObject* conflicts READ conflictsObject CONSTANT)

public:
    // `vaultWindow` is the vault window's start-up model; none for the primary window.
    WindowShell(const WindowServices& services, VaultWindowModel* vaultWindow = nullptr,
                QObject* parent = nullptr);
    ~WindowShell() override;

    const WindowServices& services() const { return services_; }
    QString title() const;
    QString windowTag() const;
    int minimumWidth() const;
    int minimumHeight() const;
    bool opening() const;
    QString openingText() const;
    // Each item: `word`, `label`, and `screen`, the file of its screen.
    QVariantList sidebarItems() const;
    QString selection() const;
    void setSelection(const QString& word);
    // Where the selection stands in the sidebar; -1 for a section the brand does not show.
    int selectionIndex() const;
    QString daemonHeadline() const;
    QString daemonDetail() const;
    bool showCommandBar() const;
    void setShowCommandBar(bool show);
    CommandBarModel& commandBar() const { return *commandBar_; }
    QObject* commandBarObject() const;
    QObject* migrationGate() const;
    FirstRunView* firstRun() const { return firstRun_; }
    QObject* firstRunObject() const;
    ConflictsNotice& conflicts() const { return *conflicts_; }
    QObject* conflictsObject() const;
    QObject* talloShell() const;

    // Serves the requests made before anyone listened; called once the owner is connected.
    void servePending();

    // The model of a section's screen; null for a section the brand does not have.
    Q_INVOKABLE QObject* screen(const QString& word) const;
    ScreenModel* screenModel(SidebarItem item) const { return screens_.value(item); }

signals:
    void openingChanged();
    void selectionChanged();
    void daemonChanged();
    void showCommandBarChanged();
    // The root view puts the focus into the timeline's search.
    void timelineSearchFocusRequested();
    // A window is asked for; whoever owns the windows opens it.
    void openWindowRequested(const mnemora::OpenWindowRequest& request);

private:
    void buildScreens();
    void activateSelection();
    void consumeOpenWindow();
    void consumeCommandBarRun();
    void consumeDismissOverlay();
    void consumeTimelineSearchFocus();
    static QCoro::Task<> onIndexTick(QPointer<WindowShell> self);
    static QCoro::Task<> reloadQuestions(QPointer<WindowShell> self);

    WindowServices services_;
    QPointer<VaultWindowModel> vaultWindow_;
    CommandBarModel* commandBar_ = nullptr;
    QMap<SidebarItem, ScreenModel*> screens_;
    FirstRunView* firstRun_ = nullptr;
    ConflictsNotice* conflicts_ = nullptr;
};

} // namespace mnemora
