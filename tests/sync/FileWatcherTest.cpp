#include "sync/SyncedDocsFileWatcher.h"

#include "support/EventLoop.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSet>

#include <gtest/gtest.h>

#include <functional>

namespace mnemora::test {
namespace {

using namespace std::chrono_literals;

// A watcher over two collection folders of a Notes folder, one of which does not exist yet.
class FileWatcherTest : public testing::Test {
protected:
    void SetUp() override {
        QDir().mkpath(lists);
        watcher = std::make_unique<SyncedDocsFileWatcher>(
            QStringList{lists, questions}, 150ms,
            [this](const QStringList& paths) { deliveries.append(paths); },
            SyncLog({}, env.root() + QStringLiteral("/sync.log")));
        watcher->start();
    }

    QStringList seen() const {
        QStringList all;
        for (const QStringList& paths : deliveries) {
            all += paths;
        }
        return all;
    }
    bool waitToSee(const QString& path) {
        return waitUntil([&] { return seen().contains(path); }, 3s);
    }

    TestEnvironment env;
    const QString notes = env.root() + QStringLiteral("/vault/Notes");
    const QString lists = notes + QStringLiteral("/lists/active");
    const QString questions = notes + QStringLiteral("/questions");
    QList<QStringList> deliveries;
    std::unique_ptr<SyncedDocsFileWatcher> watcher;
};

void write(const QString& path, const QByteArray& bytes) {
    TestEnvironment::writeFile(path, bytes);
}

// Every way an editor or a sync tool saves a file is seen.
TEST_F(FileWatcherTest, EverySaveStyleReportsTheFile) {
    const QString file = lists + QStringLiteral("/Groceries.md");
    write(file, "- [ ] milk\n");
    ASSERT_TRUE(waitToSee(file));

    struct Case {
        const char* name;
        std::function<void()> save;
    };
    const std::vector<Case> cases = {
        {"in place",
         [&] {
             QFile handle(file);
             ASSERT_TRUE(handle.open(QIODevice::ReadWrite | QIODevice::Append));
             handle.write("- [ ] eggs\n");
         }},
        {"temporary file renamed over it",
         [&] {
             const QString temporary = lists + QStringLiteral("/.Groceries.md.swp");
             write(temporary, "- [ ] bread\n");
             ASSERT_TRUE(::rename(QFile::encodeName(temporary), QFile::encodeName(file)) == 0);
         }},
        {"deleted and written anew",
         [&] {
             ASSERT_TRUE(QFile::remove(file));
             write(file, "- [ ] tea\n");
         }},
    };
    for (const Case& c : cases) {
        deliveries.clear();
        c.save();
        EXPECT_TRUE(waitToSee(file)) << c.name;
    }
}

TEST_F(FileWatcherTest, FoldersMadeLaterAndMissingRootsAreWatchedOnlyMarkdownInsideCounts) {
    const QString nested = lists + QStringLiteral("/trips/2026/Packing.md");
    const QString inbox = questions + QStringLiteral("/inbox.md");
    write(nested, "- [ ] passport\n");
    write(inbox, "first\n"); // its collection folder did not exist when the watcher started
    ASSERT_TRUE(waitToSee(nested));
    ASSERT_TRUE(waitToSee(inbox));
    deliveries.clear();
    write(nested, "- [x] passport\n");
    write(inbox, "second\n");
    EXPECT_TRUE(waitToSee(nested));
    EXPECT_TRUE(waitToSee(inbox));

    deliveries.clear();
    write(lists + QStringLiteral("/notes.txt"), "x");
    write(notes + QStringLiteral("/elsewhere/Other.md"), "x");
    const QString marker = lists + QStringLiteral("/Marker.md");
    write(marker, "x");
    ASSERT_TRUE(waitToSee(marker));
    EXPECT_EQ(seen(), QStringList{marker});
}

TEST_F(FileWatcherTest, ABurstIsCoalescedAndNothingComesAfterStop) {
    const QString file = lists + QStringLiteral("/Burst.md");
    for (int i = 0; i < 20; ++i) {
        write(file, QByteArray::number(i));
    }
    ASSERT_TRUE(waitToSee(file));
    const QString marker = lists + QStringLiteral("/After.md");
    write(marker, "x");
    ASSERT_TRUE(waitToSee(marker));
    // Coalesced: each delivery names a path once, and the burst came in far fewer deliveries
    // than writes (a slow machine may split it at the latency's end).
    for (const QStringList& paths : deliveries) {
        EXPECT_EQ(QSet<QString>(paths.begin(), paths.end()).size(), paths.size());
    }
    EXPECT_LE(seen().count(file), 3);

    watcher->stop();
    deliveries.clear();
    write(file, "late");
    QDir(lists).mkpath(QStringLiteral("new"));
    watcher->start();
    const QString again = lists + QStringLiteral("/new/Again.md");
    write(again, "x");
    ASSERT_TRUE(waitToSee(again));
    EXPECT_FALSE(seen().contains(file));
}

} // namespace
} // namespace mnemora::test
