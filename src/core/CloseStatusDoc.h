#pragma once

#include "core/Block.h"
#include "core/CloseBlockedKind.h"
#include "core/ClosePhase.h"
#include "core/DeliverableStatus.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {

// The close status document as a plain value: one `closeStatus` block followed by one
// `deliverable` block per deliverable. The desktop writes it, the phone reads the same blocks.
struct CloseStatusDoc {
    // How the phone presents the close.
    enum class Presentation { standingBy, question, needsMac };

    struct Deliverable {
        std::string label{};
        std::optional<std::string> detail{};
        DeliverableStatus status = DeliverableStatus::pending;
        std::optional<std::int64_t> countDone{};
        std::optional<std::int64_t> countTotal{};

        // "3" or "3 of 5"; absent without a done count.
        std::optional<std::string> progressText() const;

        bool operator==(const Deliverable&) const = default;
    };

    std::string period{};
    std::optional<std::string> business{};
    ClosePhase phase = ClosePhase::setup;
    std::optional<std::string> activity{};
    std::optional<std::string> startedAt{};
    std::optional<std::string> movedAt{};
    std::optional<CloseBlockedKind> blockedKind{};
    std::optional<std::string> blockedReason{};
    std::int64_t answerableCount = 0;
    // In display order.
    std::vector<Deliverable> deliverables{};

    Presentation presentation() const;
    bool isComplete() const;

    // Fresh identifiers every time: continuity comes from matching the file against the sidecar.
    std::vector<Block> blocks() const;

    // Absent without a `closeStatus` block that has a period and a phase.
    static std::optional<CloseStatusDoc> from(std::vector<Block> blocks);

    bool operator==(const CloseStatusDoc&) const = default;
};

} // namespace mnemora::core
