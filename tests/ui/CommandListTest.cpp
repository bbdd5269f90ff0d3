#include <gtest/gtest.h>

#include "ui/CommandList.h"
#include "ui/Display.h"

using namespace mnemora;

namespace {

Question question(const QString& slug, const QString& text, std::optional<QString> askedBy = {},
                  Question::Status status = Question::Status::open) {
    Question q;
    q.slug = slug;
    q.text = text;
    q.status = status;
    q.askedBy = std::move(askedBy);
    return q;
}

QStringList ids(const QList<Command>& commands) {
    QStringList list;
    for (const Command& command : commands) {
        list << command.id;
    }
    return list;
}

QStringList titles(const QList<Command>& commands) {
    QStringList list;
    for (const Command& command : commands) {
        list << command.title;
    }
    return list;
}

} // namespace

TEST(CommandList, EachBrandListsItsSectionsInItsOrderThenTheRefresh) {
    struct Case {
        Brand brand;
        QStringList titles;
    };
    const Case cases[] = {
        {Brand::tallo, {"Go to Home", "Refresh open questions"}},
        {Brand::voxlet,
         {"Go to Transcribe", "Go to AI Integrations", "Go to Timeline", "Go to Source Data",
          "Go to Processing", "Refresh open questions"}},
        {Brand::mnemora,
         {"Go to Home", "Go to Life Book", "Go to AI Integrations", "Go to Source Data",
          "Go to Processing", "Go to Knowledge", "Go to Timeline", "Go to Transcribe",
          "Refresh open questions"}},
    };
    for (const Case& c : cases) {
        const QList<Command> commands = CommandList::build(c.brand, {}, {});
        EXPECT_EQ(titles(commands), c.titles) << static_cast<int>(c.brand);
        EXPECT_EQ(commands.first().action,
                  Command::Action(Command::Navigate{BrandProfile::sidebarItems(c.brand).first()}));
        EXPECT_EQ(commands.last().id, "sys:refresh");
        EXPECT_EQ(commands.last().group, Command::Group::system);
    }
    EXPECT_EQ(ids(CommandList::build(Brand::tallo, {}, {})),
              (QStringList{"nav:home", "sys:refresh"}));
}

TEST(CommandList, OpenQuestionsComeAfterTheSectionsWithAJoinOnlyForALiveDreamerSession) {
    struct Case {
        const char* name;
        Brand brand;
        QStringList liveSessions;
        bool joinable;
    };
    const Case cases[] = {
        {"live session of the asker", Brand::mnemora, {"mn-dreamer-ledger-0302"}, true},
        {"no live session", Brand::mnemora, {}, false},
        {"another dreamer's session", Brand::mnemora, {"mn-dreamer-ledgers-0302"}, false},
        {"the brand's own prefix", Brand::tallo, {"tallo-dreamer-ledger-0302"}, true},
        {"the older prefix on another brand", Brand::voxlet, {"mn-dreamer-ledger-0302"}, true},
        {"another brand's prefix", Brand::tallo, {"vx-dreamer-ledger-0302"}, false},
    };
    const QList<Question> questions{
        question("vat", "VAT on the lease?", QStringLiteral("dreamer:ledger")),
        question("old", "Answered already", QStringLiteral("dreamer:ledger"),
                 Question::Status::answered),
    };
    for (const Case& c : cases) {
        const QList<Command> commands = CommandList::build(c.brand, questions, c.liveSessions);
        QStringList expected = ids(CommandList::build(c.brand, {}, {}));
        expected.insert(expected.size() - 1, "qhome:vat");
        if (c.joinable) {
            expected.insert(expected.size() - 2, "qjoin:vat");
        }
        EXPECT_EQ(ids(commands), expected) << c.name;
    }

    const QList<Command> commands =
        CommandList::build(Brand::tallo, questions, {"tallo-dreamer-ledger-0302"});
    EXPECT_EQ(commands[1].title, "VAT on the lease?");
    EXPECT_EQ(commands[1].subtitle, "Join Claude session");
    EXPECT_EQ(commands[1].action, Command::Action(Command::JoinSession{questions[0]}));
    EXPECT_EQ(commands[2].title, "Answer: VAT on the lease?");
    EXPECT_EQ(commands[2].subtitle, "Opens Home to answer / dismiss");
    EXPECT_EQ(commands[2].action, Command::Action(Command::Navigate{SidebarItem::home}));
    EXPECT_EQ(commands[2].group, Command::Group::questions);
}

TEST(CommandList, FilteringKeepsOrderAndDuplicatesAndSearchesTitleSubtitleAndGroupWord) {
    const QList<Question> questions{question("a", "Which account?", QStringLiteral("dreamer:x")),
                                    question("b", "Which account?")};
    const QList<Command> all = CommandList::build(Brand::mnemora, questions, {"mn-dreamer-x-1"});
    struct Case {
        const char* query;
        QStringList ids;
    };
    const Case cases[] = {
        {"", ids(all)},
        {"  \t ", ids(all)},
        {"system", {"sys:refresh"}},
        {"  GO TO PROC ", {"nav:processing"}},
        {"claude", {"qjoin:a"}},
        {"which account", {"qjoin:a", "qhome:a", "qhome:b"}},
        {"questions", {"qjoin:a", "qhome:a", "qhome:b", "sys:refresh"}},
        {"navigate", ids(all).mid(0, 8)},
        {"nothing like this", {}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ids(CommandList::filter(all, QString::fromUtf8(c.query))), c.ids) << c.query;
    }
}

TEST(CommandList, TheBarsOwnWords) {
    EXPECT_EQ(CommandList::resultCountText(0), "0 results");
    EXPECT_EQ(CommandList::resultCountText(1), "1 result");
    EXPECT_EQ(CommandList::resultCountText(2), "2 results");
    EXPECT_EQ(CommandList::prompt(), "Type a command, question, or skill…");
    EXPECT_EQ(CommandList::failureTitle(), "Action failed");
    const QStringList headers{CommandList::groupHeader(Command::Group::navigate),
                              CommandList::groupHeader(Command::Group::questions),
                              CommandList::groupHeader(Command::Group::integrations),
                              CommandList::groupHeader(Command::Group::system)};
    EXPECT_EQ(headers, (QStringList{"Navigate", "Questions", "AI Integrations", "System"}));
}

TEST(Display, WindowsNeedAChosenPlatformOrADisplay) {
    EXPECT_FALSE(Display::available("", "", ""));
    EXPECT_FALSE(Display::available(" ", "", "\n"));
    EXPECT_TRUE(Display::available("offscreen", "", ""));
    EXPECT_TRUE(Display::available("", ":0", ""));
    EXPECT_TRUE(Display::available("", "", "wayland-0"));
}
