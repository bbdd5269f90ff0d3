#pragma once

#include <QString>

#include <optional>
#include <variant>

#include "app/Brand.h"
#include "registry/Question.h"

namespace mnemora {

// One entry of the command bar: what it shows and what it does when run.
struct Command {
    enum class Group { navigate, questions, integrations, system };

    struct Navigate {
        SidebarItem item;
        bool operator==(const Navigate&) const = default;
    };
    struct JoinSession {
        Question question;
        bool operator==(const JoinSession&) const = default;
    };
    // Opens the session that designs a bundled skill.
    struct InstallSkill {
        QString seedId;
        bool operator==(const InstallSkill&) const = default;
    };
    struct RefreshQuestions {
        bool operator==(const RefreshQuestions&) const = default;
    };
    using Action = std::variant<Navigate, JoinSession, InstallSkill, RefreshQuestions>;

    QString id;
    Group group = Group::navigate;
    QString title;
    std::optional<QString> subtitle;
    QString systemImage; // a freedesktop icon name
    Action action;

    bool operator==(const Command&) const = default;
};

} // namespace mnemora
