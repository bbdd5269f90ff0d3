#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "VaultWrite.h"
#include "support/TestEnvironment.h"

using namespace mnemora;
using mnemora::refdaemon::VaultWrite::write;
using mnemora::test::TestEnvironment;

TEST(VaultWrite, RefusesEveryPathThatLeavesTheVault) {
    TestEnvironment env;
    const QString vault = env.root() + "/vault";
    const QString outside = env.root() + "/outside";
    QDir().mkpath(vault + "/Notes");
    QDir().mkpath(outside);
    TestEnvironment::writeFile(outside + "/secret.md", "keep");
    ASSERT_TRUE(QFile::link(outside, vault + "/Notes/away"));
    ASSERT_TRUE(QFile::link(outside + "/secret.md", vault + "/Notes/secret.md"));
    ASSERT_TRUE(QFile::link(outside + "/missing.md", vault + "/Notes/dangling.md"));

    const struct {
        const char* path;
        const char* words;
    } refused[] = {
        {"", "path is empty"},
        {"/etc/passwd", "path must be relative to the vault: /etc/passwd"},
        {"~/x.md", "path must be relative to the vault: ~/x.md"},
        {"../outside/secret.md", "path must not contain '..': ../outside/secret.md"},
        {"Notes/../../outside/x.md", "path must not contain '..': Notes/../../outside/x.md"},
        {"Notes/away/secret.md", "path leads outside the vault: Notes/away/secret.md"},
        {"Notes/away/new/deep.md", "path leads outside the vault: Notes/away/new/deep.md"},
        {"Notes/secret.md", "path leads outside the vault: Notes/secret.md"},
        {"Notes/dangling.md", "path leads outside the vault: Notes/dangling.md"},
        {".", "path leads outside the vault: ."},
    };
    for (const auto& row : refused) {
        const Expected<void> result = write(vault, QString::fromUtf8(row.path), "x");
        EXPECT_EQ(result.error(), QString::fromUtf8(row.words)) << row.path;
    }
    EXPECT_EQ(TestEnvironment::readFile(outside + "/secret.md"), "keep");
    EXPECT_EQ(QDir(outside).entryList(QDir::AllEntries | QDir::NoDotAndDotDot),
              QStringList{"secret.md"});

    // Inside the vault: new folders are made and an existing file is replaced whole.
    ASSERT_TRUE(write(vault, "Notes/status/close.md", "first").ok());
    ASSERT_TRUE(write(vault, "./Notes/status/close.md", "second").ok());
    EXPECT_EQ(TestEnvironment::readFile(vault + "/Notes/status/close.md"), "second");
}
