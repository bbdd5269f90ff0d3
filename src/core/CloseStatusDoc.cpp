#include "core/CloseStatusDoc.h"

#include "core/FractionalIndex.h"

#include <algorithm>

namespace mnemora::core {

std::optional<std::string> CloseStatusDoc::Deliverable::progressText() const {
    if (!countDone) {
        return std::nullopt;
    }
    if (!countTotal) {
        return std::to_string(*countDone);
    }
    return std::to_string(*countDone) + " of " + std::to_string(*countTotal);
}

CloseStatusDoc::Presentation CloseStatusDoc::presentation() const {
    if (blockedKind == CloseBlockedKind::needsAnswer) {
        return Presentation::question;
    }
    if (blockedKind == CloseBlockedKind::needsMac) {
        return Presentation::needsMac;
    }
    return Presentation::standingBy;
}

bool CloseStatusDoc::isComplete() const {
    return phase == ClosePhase::closed;
}

std::vector<Block> CloseStatusDoc::blocks() const {
    const std::vector<FractionalIndex> keys =
        FractionalIndex::evenlySpaced(static_cast<int>(deliverables.size()) + 1);

    std::vector<Block> result;
    result.reserve(keys.size());
    result.push_back(Block{
        .kind = BlockKind::closeStatus,
        .level = 0,
        .text = business.value_or("Close") + " \u00b7 " + period + " \u00b7 " +
                std::string(wireWord(phase)),
        .position = keys[0],
        .period = period,
        .business = business,
        .closePhase = phase,
        .activity = activity,
        .startedAt = startedAt,
        .movedAt = movedAt,
        .blockedKind = blockedKind,
        .blockedReason = blockedReason,
        .answerableCount = answerableCount,
    });
    for (std::size_t i = 0; i < deliverables.size(); ++i) {
        const Deliverable& deliverable = deliverables[i];
        std::string text = deliverable.label;
        if (const auto progress = deliverable.progressText()) {
            text += " " + *progress;
        }
        result.push_back(Block{
            .kind = BlockKind::deliverable,
            .text = std::move(text),
            .position = keys[i + 1],
            .deliverableLabel = deliverable.label,
            .deliverableDetail = deliverable.detail,
            .deliverableStatus = deliverable.status,
            .countDone = deliverable.countDone,
            .countTotal = deliverable.countTotal,
        });
    }
    return result;
}

std::optional<CloseStatusDoc> CloseStatusDoc::from(std::vector<Block> blocks) {
    sortByPosition(blocks);

    const auto header = std::ranges::find(blocks, BlockKind::closeStatus, &Block::kind);
    if (header == blocks.end() || !header->period || !header->closePhase) {
        return std::nullopt;
    }

    CloseStatusDoc doc{
        .period = *header->period,
        .business = header->business,
        .phase = *header->closePhase,
        .activity = header->activity,
        .startedAt = header->startedAt,
        .movedAt = header->movedAt,
        .blockedKind = header->blockedKind,
        .blockedReason = header->blockedReason,
        .answerableCount = header->answerableCount.value_or(0),
    };
    for (const Block& block : blocks) {
        if (block.kind != BlockKind::deliverable || !block.deliverableLabel) {
            continue;
        }
        doc.deliverables.push_back(Deliverable{
            .label = *block.deliverableLabel,
            .detail = block.deliverableDetail,
            .status = block.deliverableStatus.value_or(DeliverableStatus::pending),
            .countDone = block.countDone,
            .countTotal = block.countTotal,
        });
    }
    return doc;
}

} // namespace mnemora::core
