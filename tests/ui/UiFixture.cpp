#include "ui/UiFixture.h"

#include <QAccessible>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

#include <stdexcept>

#include "app/AppStateStore.h"
#include "app/ConfigService.h"
#include "app/UserDefaults.h"
#include "app/VaultPaths.h"
#include "daemon/DaemonService.h"
#include "daemon/ProcessingStore.h"
#include "runtime/MnemoraApp.h"
#include "runtime/VaultManager.h"
#include "support/EventLoop.h"
#include "support/RegistryIndex.h"
#include "ui/DesktopShell.h"
#include "ui/ProcessingModel.h"
#include "ui/ScreenModel.h"
#include "ui/WindowShell.h"

namespace mnemora::test {

const QString UiFixture::kAskedSlug = QStringLiteral("who-in-lisbon");
const QString UiFixture::kDocSlug = QStringLiteral("december-statement");

namespace {

struct Product {
    const char* identifier;
    const char* name;
};

Product productOf(Brand brand) {
    switch (brand) {
    case Brand::voxlet:
        return {"vox.let", "Voxlet"};
    case Brand::tallo:
        return {"tallo.ai", "Tallo"};
    case Brand::mnemora:
        break;
    }
    return {"ai.mnemora", "Mnemora"};
}

QByteArray json(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

const char* const kAskedFile = R"(---
kind: judgment
status: open
question: Who is standing next to you in the Lisbon photos from May 2019?
asked_at: 2026-03-02T09:00:00Z
asked_by: dreamer:biographer
suggested_actions: [Ana => Ana, my sister | A colleague => A colleague from work]
---

## Question

Who is standing next to you in the Lisbon photos from May 2019?
)";

const char* const kDocFile = R"(---
kind: missing-doc
status: open
question: Could you find the December bank statement?
asked_at: 2026-03-01T09:00:00Z
asked_by: accountant
context: The closing balance on 31 December is needed to finish the year.
---

## Question

Could you find the December bank statement?
)";

const char* const kEvents[] = {
    R"({"event":"asset-status-updated","payload":{"file_path":"/vault/Media/memo-2026-03-01.m4a","item_type":"voice_memo","status":"processing","audio_status":"segment_3","progress_percent":42}})",
    R"({"event":"asset-status-updated","payload":{"file_path":"/vault/Media/IMG_2041.heic","item_type":"photo","status":"done"}})",
    R"({"event":"asset-status-updated","payload":{"file_path":"/vault/Media/beach.mov","item_type":"video","status":"failed","detail":"The soundtrack could not be read: ffmpeg exited with status 1"}})",
};

} // namespace

const QString UiFixture::kClipPath = QStringLiteral("/vault/.clips/answer.m4a");

UiFixture::UiFixture(Brand brand, bool populated)
    : brand_(brand)
    , populated_(populated) {
    const Product product = productOf(brand);
    bundle_ = std::make_unique<BundleOverride>(QString::fromLatin1(product.identifier),
                                               QString::fromLatin1(product.name),
                                               QString::fromLatin1(product.name));
    vault_ = env_.home() + QStringLiteral("/Vault");
    // The screens' microphones are fakes: this machine may have no sound server at all.
    AudioRecorder::setFactory([this] {
        auto made = std::make_unique<FakeRecorder>();
        microphones_ << made.get();
        return made;
    });
    daemon_.setHandler([this](const HttpServer::Request& request) { return answer(request); });
    UserDefaults(bundleIdentifier()).setBool(UserDefaults::onboardingComplete, true);
    writeVault();
    if (populated_) {
        writeIndex();
        TestEnvironment::writeFile(VaultPaths::vaultCacheFolder(vault_) +
                                       QStringLiteral("/daemon.port"),
                                   QByteArray::number(daemon_.port()));
    }
    app_ = std::make_unique<MnemoraApp>();
    desktop_ = std::make_unique<DesktopShell>(*app_, VaultManager::shared());
}

UiFixture::~UiFixture() {
    desktop_.reset();
    app_.reset();
    AudioRecorder::setFactory({});
}

void UiFixture::writeVault() {
    for (const char* folder : {"Registry", "Notes", "Media", ".mnemora"}) {
        QDir().mkpath(vault_ + QLatin1Char('/') + QLatin1String(folder));
    }
    TestEnvironment::writeFile(ConfigService::primaryFilePath(),
                               json({{QStringLiteral("mnemora_path"), vault_}}));
    if (populated_) {
        TestEnvironment::writeFile(questionFile(kAskedSlug), kAskedFile);
        TestEnvironment::writeFile(questionFile(kDocSlug), kDocFile);
        if (brand_ == Brand::tallo) {
            writeBookkeeping();
        }
    }
}

QString UiFixture::questionFile(const QString& slug) const {
    return vault_ + QStringLiteral("/Registry/me/questions/") + slug + QStringLiteral(".md");
}

void UiFixture::writeIndex() {
    RegistryIndex index(VaultPaths::vaultCacheFolder(vault_) +
                        QStringLiteral("/registry_index.sqlite"));
    index.entity({{"entity_type", "question"},
                  {"slug", kAskedSlug},
                  {"name", "Who is standing next to you in the Lisbon photos from May 2019?"},
                  {"file_path", questionFile(kAskedSlug)},
                  {"date_start", "2026-03-02T09:00:00Z"}});
    index.entity({{"entity_type", "question"},
                  {"slug", kDocSlug},
                  {"name", "Could you find the December bank statement?"},
                  {"file_path", questionFile(kDocSlug)},
                  {"date_start", "2026-03-01T09:00:00Z"}});
    for (const char* name : {"Ana", "Jonas"}) {
        index.entity({{"entity_type", "person"},
                      {"slug", QString::fromLatin1(name).toLower()},
                      {"name", name}});
    }
    for (const char* name : {"Lisbon", "Berlin"}) {
        index.entity({{"entity_type", "place"},
                      {"slug", QString::fromLatin1(name).toLower()},
                      {"name", name}});
    }
    const QString media = vault_ + QStringLiteral("/Registry/me/");
    index.item({{"file_path", media + "photos/2019-05-12-lisbon.md"},
                {"item_type", "photo"},
                {"captured_at", 1557675000},
                {"status", "done"},
                {"caption", "Two friends on the steps of the Miradouro da Graça at sunset"},
                {"location_name", "Miradouro da Graça"},
                {"locality", "Lisbon"},
                {"country", "Portugal"},
                {"people", "Ana"},
                {"latitude", 38.716},
                {"source_type", "photos"},
                {"source_name", "Photo library"}});
    index.item({{"file_path", media + "photos/2020-02-29-berlin.md"},
                {"item_type", "photo"},
                {"captured_at", 1582970000},
                {"status", "done"},
                {"caption", "A birthday table with candles and a paper crown"},
                {"locality", "Berlin"},
                {"country", "Germany"},
                {"source_type", "photos"},
                {"source_name", "Photo library"}});
    index.item({{"file_path", media + "photos/IMG_0007.md"},
                {"item_type", "photo"},
                {"status", "pending"},
                {"visual_status", "pending"},
                {"source_type", "photos"},
                {"source_name", "Photo library"}});
    index.item({{"file_path", media + "videos/praia.md"},
                {"item_type", "video"},
                {"captured_at", 1628000000},
                {"status", "done"},
                {"caption", "Waves rolling in at Praia da Rocha"},
                {"locality", "Portimão"},
                {"country", "Portugal"},
                {"source_type", "photos"},
                {"source_name", "Photo library"}});
    index.item({{"file_path", media + "voice/2026-03-01-landlord.md"},
                {"item_type", "voice_memo"},
                {"captured_at", 1772354000},
                {"status", "done"},
                {"duration_secs", 42.0},
                {"transcription", "Remember to call the landlord about the heating before "
                                  "Friday, and ask whether the January invoice has been paid."},
                {"source_type", "voice_memos"},
                {"source_name", "Voice Memos"}});
    index.item({{"file_path", media + "time/2026-03-02.md"},
                {"item_type", "time_entry"},
                {"captured_at", 1772440000},
                {"status", "done"},
                {"time_text", "Bookkeeping review with Maria"},
                {"time_hours", 1.5},
                {"time_log_name", "work.log"}});
    if (brand_ == Brand::tallo) {
        writeCloseIndex(index);
    }
}

QByteArray UiFixture::statusBody() const {
    return json({{QStringLiteral("pid"), static_cast<int>(::getpid())},
                 {QStringLiteral("processing_active"), true},
                 {QStringLiteral("pending_items"), 12},
                 {QStringLiteral("heartbeat_age_secs"), 3}});
}

HttpServer::Response UiFixture::answer(const HttpServer::Request& request) const {
    const QByteArray path = request.path.split('?').first();
    if (path == "/status") {
        return HttpServer::json(statusBody());
    }
    if (path == "/progress") {
        return {200, {}, "text/event-stream", true, 0};
    }
    if (path == "/transcriptions/record") {
        return HttpServer::json(R"({"ok": true, "file_path": ")" + kClipPath.toUtf8() + "\"}");
    }
    if (path == "/gpu-scheduler") {
        QJsonArray recent;
        for (int i = 0; i < 4; ++i) {
            recent << QJsonObject{
                {QStringLiteral("work_type"), QStringLiteral("vlm")},
                {QStringLiteral("asset_path"), QStringLiteral("IMG_%1.heic").arg(i)},
                {QStringLiteral("outcome"), QStringLiteral("skipped")},
                {QStringLiteral("reason"), QStringLiteral("Ollama not available")}};
        }
        return HttpServer::json(json({{QStringLiteral("running"), true},
                                      {QStringLiteral("queue_size"), 12},
                                      {QStringLiteral("session_success"), 30},
                                      {QStringLiteral("session_skipped"), 4},
                                      {QStringLiteral("session_failed"), 1},
                                      {QStringLiteral("currently_processing"),
                                       QStringLiteral("/vault/Media/memo-2026-03-01.m4a")},
                                      {QStringLiteral("recent"), recent}}));
    }
    if (path.startsWith("/period-close/")) {
        return answerClose(request);
    }
    if (path == "/dreamer/sessions" && !sessionsLive) {
        return HttpServer::json(R"({"sessions": [], "limits": {}})");
    }
    if (path == "/dreamer/sessions") {
        const QString live = sessionNamePrefix(QStringLiteral("biographer"), brand_) +
                             QStringLiteral("20260302-0900");
        const QString limited =
            sessionNamePrefix(QStringLiteral("weekly"), brand_) + QStringLiteral("20260301-0700");
        QJsonArray sessions{live, limited};
        if (brand_ == Brand::tallo) {
            sessions.prepend(sessionNamePrefix(QStringLiteral("period-close"), brand_) +
                             QStringLiteral("20261101-0800"));
        }
        return HttpServer::json(
            json({{QStringLiteral("sessions"), sessions},
                  {QStringLiteral("limits"),
                   QJsonArray{QJsonObject{
                       {QStringLiteral("session"), limited},
                       {QStringLiteral("message"), QStringLiteral("Usage limit reached")}}}}}));
    }
    if (path == "/migrations/status") {
        return HttpServer::json(migrationStatus);
    }
    if (path == "/home/narrative") {
        const auto section = [](const char* body) {
            return QJsonObject{{QStringLiteral("body"), QString::fromUtf8(body)},
                               {QStringLiteral("path"), QStringLiteral("Notes/life/now.md")}};
        };
        return HttpServer::json(
            json({{QStringLiteral("current_context"),
                   section("You are settling into Berlin again after two months in Lisbon; most "
                           "photos this spring are of the flat and of Ana's visit.")},
                  {QStringLiteral("long_horizon"),
                   section("Three long threads run through the last decade: the move from Porto, "
                           "the years with the choir, and the slow renovation of the flat.")}}));
    }
    return HttpServer::json("{}");
}

void UiFixture::start() {
    runTask(app_->startUp());
    desktop_->start();
    QAccessible::setActive(true);
    if (!populated_) {
        return;
    }
    if (!waitUntil([this] { return daemon_.openStreamCount() > 0; })) {
        throw std::runtime_error("the processing store never opened its stream");
    }
    for (const char* event : kEvents) {
        daemon_.sendToStreams(QByteArray("data: ") + event + "\n\n");
    }
    waitUntil([this] {
        return app_->processingStore().recentEvents().size() ==
               static_cast<qsizetype>(std::size(kEvents));
    });
}

WindowShell& UiFixture::shell() const {
    return *desktop_->mainShell();
}

QQuickWindow& UiFixture::window() const {
    return *desktop_->mainWindow();
}

ScreenModel& UiFixture::show(SidebarItem item) {
    app_->appState().setSelection(item);
    ScreenModel& screen = *shell().screenModel(item);
    if (populated_) {
        waitUntil([&screen] { return !screen.isEmpty() || !screen.summary().isEmpty(); });
        if (auto* processing = qobject_cast<ProcessingModel*>(&screen)) {
            waitUntil([processing] { return !processing->schedulerLine().isEmpty(); });
        }
    }
    return screen;
}

QImage UiFixture::grab() const {
    return window().grabWindow();
}

QList<QAccessibleInterface*> accessibleTree(QQuickWindow& window) {
    QList<QAccessibleInterface*> found;
    QList<QAccessibleInterface*> pending{QAccessible::queryAccessibleInterface(&window)};
    while (!pending.isEmpty()) {
        QAccessibleInterface* element = pending.takeFirst();
        if (!element) {
            continue;
        }
        found << element;
        QList<QAccessibleInterface*> children;
        for (int i = 0; i < element->childCount(); ++i) {
            children << element->child(i);
        }
        pending = children + pending;
    }
    return found;
}

QAccessibleInterface* findAccessible(QQuickWindow& window, const QString& name) {
    for (QAccessibleInterface* element : accessibleTree(window)) {
        if (!element->state().invisible && element->text(QAccessible::Name) == name) {
            return element;
        }
    }
    return nullptr;
}

void type(QQuickWindow& window, const QString& text) {
    for (const QChar c : text) {
        QTest::keyClick(&window, c.toLatin1());
    }
}

void click(QQuickWindow& window, QAccessibleInterface* element) {
    QTest::mouseClick(&window, Qt::LeftButton, {}, window.mapFromGlobal(element->rect().center()));
}

namespace {

QStringList& warningLines() {
    static QStringList lines;
    return lines;
}

QtMessageHandler& previousHandler() {
    static QtMessageHandler handler = nullptr;
    return handler;
}

void collect(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg || type == QtCriticalMsg || type == QtFatalMsg) {
        warningLines() << message;
    }
    if (previousHandler()) {
        previousHandler()(type, context, message);
    }
}

} // namespace

WarningLog::WarningLog() {
    warningLines().clear();
    previousHandler() = qInstallMessageHandler(collect);
}

WarningLog::~WarningLog() {
    qInstallMessageHandler(previousHandler());
}

const QStringList& WarningLog::lines() const {
    return warningLines();
}

void prepareOffscreenEnvironment() {
    static QTemporaryDir runtime;
    QFile::setPermissions(runtime.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_QUICK_BACKEND", "software");
}

} // namespace mnemora::test
