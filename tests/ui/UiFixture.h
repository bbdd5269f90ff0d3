#pragma once

#include <QAccessibleInterface>
#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QUrl>

#include <memory>

#include "app/Brand.h"
#include "support/BundleOverride.h"
#include "support/HttpServer.h"
#include "support/TestEnvironment.h"
#include "voice/FakeRecorder.h"

class QQuickWindow;

namespace mnemora {
class DesktopShell;
class MnemoraApp;
class ScreenModel;
class WindowShell;
} // namespace mnemora

namespace mnemora::test {

class RegistryIndex;

// The desktop shell of one brand over a private home: a vault with a real index and question
// files, an in-process fake daemon that answers the routes the screens read and streams
// progress events, and the primary services started in their real order. `populated` false
// leaves the vault without index, daemon or questions, as on a first launch.
class UiFixture {
public:
    UiFixture(Brand brand, bool populated);
    ~UiFixture();

    // Runs the start-up order, opens the main window and, populated, feeds recent events.
    void start();

    MnemoraApp& app() const { return *app_; }
    DesktopShell& desktop() const { return *desktop_; }
    WindowShell& shell() const;
    QQuickWindow& window() const;
    HttpServer& daemon() { return daemon_; }
    // Every microphone the screens made, in the order they made them.
    const QList<QPointer<FakeRecorder>>& microphones() const { return microphones_; }
    const QString& vault() const { return vault_; }
    QString home() const { return env_.home(); }
    QString questionFile(const QString& slug) const;

    // Shows a section and waits until its screen has loaded what the fixture gave it.
    ScreenModel& show(SidebarItem item);
    // Renders the window as it looks now.
    QImage grab() const;

    // What the fake daemon answers to `migrations/status`.
    QByteArray migrationStatus = "{}";
    // Whether the fake daemon has live agent sessions; without, a close marked running was cut
    // off.
    bool sessionsLive = true;

    // Tallo's books: a finished September and an October in progress, with their period folders.
    static const QString kBooks;
    static const QString kBooksName;
    static const QString kRecipient;
    QString periodFolder(const QString& period) const;

    static const QString kAskedSlug; // a dreamer's question with suggested answers
    static const QString kDocSlug;   // the accountant's request for a document
    static const QString kClipPath;  // where the fake daemon says an uploaded clip went

private:
    void writeVault();
    void writeIndex();
    void writeCloseIndex(RegistryIndex& index);
    void writeBookkeeping();
    HttpServer::Response answerClose(const HttpServer::Request& request) const;
    HttpServer::Response answer(const HttpServer::Request& request) const;
    QByteArray statusBody() const;

    Brand brand_;
    bool populated_;
    TestEnvironment env_;
    std::unique_ptr<BundleOverride> bundle_;
    HttpServer daemon_;
    QString vault_;
    std::unique_ptr<MnemoraApp> app_;
    std::unique_ptr<DesktopShell> desktop_;
    QList<QPointer<FakeRecorder>> microphones_;
};

// Takes the links the application hands to the desktop for some schemes, in place of the
// desktop's own handlers, while it lives.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    explicit UrlCatcher(QStringList schemes);
    ~UrlCatcher() override;

    QList<QUrl> urls;

public slots:
    void open(const QUrl& url) { urls << url; }

private:
    QStringList schemes_;
};

// The accessible element of `window` with this name, first in tree order; null when none.
QAccessibleInterface* findAccessible(QQuickWindow& window, const QString& name);
// Every accessible element of the window, depth first.
QList<QAccessibleInterface*> accessibleTree(QQuickWindow& window);
// Types plain ASCII text into the focused item.
void type(QQuickWindow& window, const QString& text);
// Clicks the middle of an accessible element.
void click(QQuickWindow& window, QAccessibleInterface* element);

// The Qt warnings and errors logged while one of these lives.
class WarningLog {
public:
    WarningLog();
    ~WarningLog();
    WarningLog(const WarningLog&) = delete;
    WarningLog& operator=(const WarningLog&) = delete;

    const QStringList& lines() const;
};

// A private 0700 runtime folder and the offscreen platform with the software renderer, set
// before the application object exists.
void prepareOffscreenEnvironment();

} // namespace mnemora::test
