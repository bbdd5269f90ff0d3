// Writes a PNG of every screen of one brand, light and dark, with the command bar and the empty
// states, for a person to look at:
//   ui_screenshots OUT_FOLDER [mnemora|voxlet|tallo]
// The dark set comes from a second run of this program: a palette is taken when the first window
// loads the style, once per process.

#include <QApplication>
#include <QDir>
#include <QImage>
#include <QPalette>
#include <QProcess>
#include <QQuickItem>
#include <QQuickWindow>
#include <QTextStream>

#include <algorithm>
#include <cstdio>

#include "app/AppStateStore.h"
#include "app/Brand.h"
#include "app/UserDefaults.h"
#include "periodclose/PeriodCloseStore.h"
#include "runtime/MnemoraApp.h"
#include "support/EventLoop.h"
#include "ui/CloseRunModel.h"
#include "ui/CloseSessionsModel.h"
#include "ui/CommandBarModel.h"
#include "ui/DemoMonthOffer.h"
#include "ui/TalloShellModel.h"
#include "ui/UiFixture.h"
#include "ui/WindowShell.h"
#include "voice/AnswerControlModel.h"

using namespace mnemora;

namespace {

QPalette darkPalette() {
    QPalette palette;
    palette.setColor(QPalette::Window, QColor(0x2b, 0x2d, 0x30));
    palette.setColor(QPalette::WindowText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Base, QColor(0x1e, 0x1f, 0x22));
    palette.setColor(QPalette::AlternateBase, QColor(0x25, 0x27, 0x2a));
    palette.setColor(QPalette::Text, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Button, QColor(0x3a, 0x3d, 0x41));
    palette.setColor(QPalette::ButtonText, QColor(0xe8, 0xe8, 0xe8));
    palette.setColor(QPalette::Mid, QColor(0x50, 0x53, 0x58));
    palette.setColor(QPalette::Highlight, QColor(0x35, 0x84, 0xe4));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, QColor(0x9a, 0x9a, 0x9a));
    for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
        palette.setColor(QPalette::Disabled, role, QColor(0x7a, 0x7a, 0x7a));
    }
    return palette;
}

bool save(const QImage& image, const QString& path) {
    if (!image.save(path)) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(path));
        return false;
    }
    std::printf("%s\n", qPrintable(path));
    return true;
}

bool shootAnswerPhases(test::UiFixture& fixture, const QString& folder, const QString& prefix);
bool shootTalloSurfaces(test::UiFixture& fixture, const QString& folder, const QString& prefix);
bool shootFirstRun(test::UiFixture& fixture, const QString& folder, const QString& prefix);

bool shoot(Brand brand, bool populated, const QString& folder, const QString& prefix) {
    test::UiFixture fixture(brand, populated);
    fixture.start();
    int n = 0;
    for (SidebarItem item : BrandProfile::sidebarItems(brand)) {
        fixture.show(item);
        const QString name = QStringLiteral("%1/%2-%3-%4.png")
                                 .arg(folder, prefix)
                                 .arg(++n, 2, 10, QLatin1Char('0'))
                                 .arg(sidebarItemWord(item));
        if (!save(fixture.grab(), name)) {
            return false;
        }
    }
    if (brand == Brand::tallo && !shootTalloSurfaces(fixture, folder, prefix)) {
        return false;
    }
    if (!populated) {
        return true;
    }
    fixture.shell().setShowCommandBar(true);
    // The join entries come once the live sessions have been read.
    test::waitUntil([&] {
        const QList<Command>& commands = fixture.shell().commandBar().commands();
        return std::any_of(commands.cbegin(), commands.cend(), [](const Command& command) {
            return command.id.startsWith(QLatin1String("qjoin:"));
        });
    });
    if (!save(fixture.grab(),
              folder + QLatin1Char('/') + prefix + QStringLiteral("-command-bar.png"))) {
        return false;
    }
    fixture.shell().setShowCommandBar(false);
    // The answer field's phases are shot on Home, which the transcription brand has not.
    const bool hasHome = BrandProfile::sidebarItems(mnemora::brand()).contains(SidebarItem::home);
    return shootFirstRun(fixture, folder, prefix) &&
           (!hasHome || shootAnswerPhases(fixture, folder, prefix));
}

// Each first-run screen in the inspection states automation puts it in.
bool shootFirstRun(test::UiFixture& fixture, const QString& folder, const QString& prefix) {
    const char* const states[] = {"screen-a",       "screen-b", "screen-b-spoken", "screen-b-fresh",
                                  "screen-b-phone", "screen-c", "acceptance-card"};
    bool ok = true;
    for (const char* state : states) {
        fixture.app().appState().setPendingOnboardingCommand(QString::fromLatin1(state));
        QCoreApplication::processEvents();
        ok = ok && save(fixture.grab(),
                        QStringLiteral("%1/%2-first-run-%3.png").arg(folder, prefix, state));
    }
    fixture.app().appState().setPendingOnboardingCommand(QStringLiteral("finish"));
    return ok;
}

// The answer field of Home's first card in each of its phases, driven through a fake microphone
// and the fake daemon's progress stream.
bool shootAnswerPhases(test::UiFixture& fixture, const QString& folder, const QString& prefix) {
    fixture.show(SidebarItem::home);
    // The models are resources of their fields, which hang in the visual tree only.
    QList<AnswerControlModel*> controls;
    QList<QQuickItem*> pending{fixture.window().contentItem()};
    while (!pending.isEmpty()) {
        QQuickItem* item = pending.takeFirst();
        controls << item->findChildren<AnswerControlModel*>(Qt::FindDirectChildrenOnly);
        pending << item->childItems();
    }
    if (controls.isEmpty()) {
        std::fprintf(stderr, "no answer control on Home\n");
        return false;
    }
    AnswerControlModel& control = *controls.first();
    auto* mic = static_cast<test::FakeRecorder*>(control.holder()->recorder());
    QDateTime now = QDateTime::currentDateTimeUtc();
    control.holder()->setClock([&now] { return now; });
    control.setSayingDelay(std::chrono::milliseconds(0));
    int n = 0;
    const auto shot = [&](const char* phase) {
        QCoreApplication::processEvents();
        return save(fixture.grab(), QStringLiteral("%1/%2-answer-%3-%4.png")
                                        .arg(folder, prefix)
                                        .arg(++n)
                                        .arg(QString::fromLatin1(phase)));
    };
    const auto status = [&](const char* state, const char* text) {
        fixture.daemon().sendToStreams(
            QByteArray(R"(data: {"event": "asset-status-updated", "payload": {"file_path": ")") +
            test::UiFixture::kClipPath.toUtf8() + R"(", "status": ")" + state +
            R"(", "partial_text": ")" + text + "\"}}\n\n");
    };
    bool ok = shot("resting");
    control.holder()->press();
    mic->tickTo(3);
    for (double level : {0.1, 0.3, 0.7, 0.5, 0.9, 0.4, 0.2, 0.6, 0.8, 0.3}) {
        mic->meterAt(level);
        control.holder()->sampleLevel();
    }
    ok = ok && shot("listening");
    control.holder()->release();
    ok = ok && shot("too-quick");
    // The clip's own stream comes beside the streams the application keeps open.
    int streams = fixture.daemon().requestCount("/progress");
    control.holder()->press();
    mic->meterAt(0.6);
    control.holder()->sampleLevel();
    now = now.addSecs(2);
    control.holder()->release();
    test::waitUntil([&] { return control.sayingWritingThatDown(); });
    ok = ok && shot("transcribing");
    test::waitUntil([&] { return fixture.daemon().requestCount("/progress") > streams; });
    status("done", "It is in the shoebox");
    test::waitUntil([&] { return !control.transcribing(); });
    ok = ok && shot("transcribed");
    control.holder()->press();
    mic->meterAt(0.6);
    control.holder()->sampleLevel();
    now = now.addSecs(2);
    streams = fixture.daemon().requestCount("/progress");
    control.holder()->release();
    test::waitUntil([&] { return fixture.daemon().requestCount("/progress") > streams; });
    status("failed", "");
    test::waitUntil([&] { return !control.transcribing(); });
    ok = ok && shot("failed");
    control.setText(QString());
    mic->status = MicStatus::denied;
    control.holder()->press();
    control.holder()->release();
    return ok && shot("mic-off");
}

// Every surface of Tallo's window for the month in progress and the finished one before it.
bool shootTalloSurfaces(test::UiFixture& fixture, const QString& folder, const QString& prefix) {
    auto* shell = qobject_cast<TalloShellModel*>(&fixture.show(SidebarItem::home));
    if (!shell) {
        std::fprintf(stderr, "no Tallo shell on Home\n");
        return false;
    }
    test::waitUntil([shell] { return !shell->period().isEmpty(); });
    const QStringList periods =
        shell->hasRuns() ? QStringList{shell->period(), "2026-09"} : QStringList{shell->period()};
    for (const QString& period : periods) {
        shell->goToPeriod(period);
        test::waitUntil([shell, &period] {
            const auto& run = shell->store().run();
            return shell->period() == period &&
                   (!shell->hasRuns() || (run && run->period == period));
        });
        test::waitUntil([shell] { return shell->sessions().known(); });
        if (shell->hasRuns()) {
            test::waitUntil([shell] { return !shell->attention().isEmpty(); });
        }
        for (const QVariant& surface : shell->surfaces()) {
            const QString word = surface.toMap().value("word").toString();
            shell->setSurface(word);
            QCoreApplication::processEvents();
            if (!save(fixture.grab(),
                      QStringLiteral("%1/%2-tallo-%3-%4.png").arg(folder, prefix, period, word))) {
                return false;
            }
        }
    }
    shell->goToPeriod(periods.first());
    shell->setSurface("run");
    if (shell->demoOffer()) {
        // The made-up month the first run leaves on offer.
        UserDefaults().setBool(QString::fromLatin1(UserDefaults::demoOfferPending), true);
        shell->demoOffer()->refresh();
        QCoreApplication::processEvents();
        const bool shot =
            save(fixture.grab(), QStringLiteral("%1/%2-tallo-demo-offer.png").arg(folder, prefix));
        UserDefaults().setBool(QString::fromLatin1(UserDefaults::demoOfferPending), false);
        shell->demoOffer()->refresh();
        return shot;
    }
    return true;
}

Brand brandNamed(const QString& word) {
    if (word == QLatin1String("voxlet")) {
        return Brand::voxlet;
    }
    if (word == QLatin1String("tallo")) {
        return Brand::tallo;
    }
    return Brand::mnemora;
}

} // namespace

int main(int argc, char** argv) {
    test::prepareOffscreenEnvironment();
    QApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 2) {
        std::fprintf(stderr, "usage: ui_screenshots OUT_FOLDER [mnemora|voxlet|tallo]\n");
        return 2;
    }
    const QString folder = QDir(arguments.at(1)).absolutePath();
    QDir().mkpath(folder);
    const QString word = arguments.size() > 2 ? arguments.at(2) : QStringLiteral("mnemora");
    const Brand brand = brandNamed(word);
    if (arguments.size() > 3 && arguments.at(3) == QLatin1String("dark")) {
        QGuiApplication::setPalette(darkPalette());
        return shoot(brand, true, folder, word + QStringLiteral("-dark")) ? 0 : 1;
    }
    const bool ok = shoot(brand, true, folder, word + QStringLiteral("-light")) &&
                    shoot(brand, false, folder, word + QStringLiteral("-empty"));
    const int dark = QProcess::execute(QCoreApplication::applicationFilePath(),
                                       {folder, word, QStringLiteral("dark")});
    return ok && dark == 0 ? 0 : 1;
}
