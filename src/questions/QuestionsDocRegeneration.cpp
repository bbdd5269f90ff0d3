#include "questions/QuestionsDocRegeneration.h"

#include <QDateTime>

#include <algorithm>
#include <unordered_map>

#include "core/MarkdownCodec.h"

namespace mnemora::QuestionsDocRegeneration {

namespace {

using core::Block;
using core::BlockKind;
using core::QuestionCardStatus;

std::optional<std::string> utf8(const std::optional<QString>& value) {
    if (!value) {
        return std::nullopt;
    }
    return value->toStdString();
}

bool hasQuestionId(const Block& block) {
    return block.questionID && !block.questionID->empty();
}

bool isOpenCard(const Block& block) {
    return block.questionStatus.value_or(QuestionCardStatus::open) == QuestionCardStatus::open;
}

bool hasAnswer(const Block& block) {
    return block.answer && !block.answer->empty();
}

// Open cards by question id; the first in the document wins.
std::unordered_map<std::string, const Block*> priorOpenCards(const std::vector<Block>& blocks) {
    std::unordered_map<std::string, const Block*> prior;
    for (const Block& block : blocks) {
        if (block.kind == BlockKind::question && isOpenCard(block) && block.questionID) {
            prior.emplace(*block.questionID, &block);
        }
    }
    return prior;
}

// Questions whose card the phone has answered, words or clip, and that are not foreign. Until
// the index hears of the answer such a question still comes back as open; it gets no second,
// open card meanwhile. That card would show the phone its question unanswered again, and in the
// file it would stand before the answered card with the same wording, where the block matcher
// pairs edited lines by rank: the phone's record would be turned into the open card and its
// answer, clip included, carried on under a new record.
std::set<std::string> answeredOnThePhone(const std::vector<Block>& blocks,
                                         const std::set<std::string>& foreign) {
    std::set<std::string> ids;
    for (const Block& block : blocks) {
        if (block.kind == BlockKind::question && hasQuestionId(block) &&
            block.questionStatus == QuestionCardStatus::answered &&
            !foreign.contains(*block.questionID) &&
            (hasAnswer(block) || (block.audioAssetRef && !block.audioAssetRef->empty()))) {
            ids.insert(*block.questionID);
        }
    }
    return ids;
}

} // namespace

Block newCard(const Question& question, const std::optional<core::FractionalIndex>& last) {
    Block card{.kind = BlockKind::question,
               .level = 0,
               .text = question.text.toStdString(),
               .position = core::FractionalIndex::between(last, std::nullopt)};
    card.questionID = question.slug.toStdString();
    card.questionStatus = QuestionCardStatus::open;
    card.booksID = utf8(question.books);
    card.questionKind = utf8(question.kind);
    card.suggestedActions = utf8(question.suggestedActionsRaw);
    card.askedBy = utf8(question.askedBy);
    if (question.askedAt) {
        card.askedAt = question.askedAt->toUTC().toString(Qt::ISODate).toStdString();
    }
    card.period = utf8(question.period);
    return card;
}

bool isPreferred(const Block& entry, const Block& newcomer) {
    if (hasAnswer(entry) != hasAnswer(newcomer)) {
        return hasAnswer(entry);
    }
    return entry.answeredAt.value_or(std::string()) >= newcomer.answeredAt.value_or(std::string());
}

std::string regenerate(const std::vector<Block>& blocks, const QList<Question>& open,
                       const std::set<std::string>& foreign, const Resolutions& resolutions) {
    const auto priorOpen = priorOpenCards(blocks);
    const std::set<std::string> answered = answeredOnThePhone(blocks, foreign);

    std::vector<Block> openCards;
    std::set<std::string> openSlugs;
    std::optional<core::FractionalIndex> last;
    for (const Question& question : open) {
        const std::string slug = question.slug.toStdString();
        openSlugs.insert(slug);
        const auto prior = priorOpen.find(slug);
        if (prior == priorOpen.end() && answered.contains(slug)) {
            continue;
        }
        openCards.push_back(prior != priorOpen.end() ? *prior->second : newCard(question, last));
        last = openCards.back().position;
    }

    // Open cards whose question has left the open set: an answer keeps the card, as answered on
    // this computer; a dismissal, or no word at all, drops it.
    std::map<std::string, Block> closedCards;
    for (const Block& block : blocks) {
        if (!block.questionID || foreign.contains(*block.questionID)) {
            continue;
        }
        const auto prior = priorOpen.find(*block.questionID);
        if (prior == priorOpen.end() || prior->second->id != block.id ||
            openSlugs.contains(*block.questionID)) {
            continue;
        }
        const auto resolution = resolutions.find(*block.questionID);
        if (resolution == resolutions.end() || resolution->second != Resolution::answered) {
            continue;
        }
        Block answered = block;
        answered.questionStatus = QuestionCardStatus::answered;
        answered.answeredBy = "mac";
        closedCards.insert_or_assign(*block.questionID, std::move(answered));
    }

    std::vector<Block> others;
    for (const Block& block : blocks) {
        if (block.kind != BlockKind::question || !hasQuestionId(block)) {
            others.push_back(block);
            continue;
        }
        if (isOpenCard(block) || foreign.contains(*block.questionID)) {
            continue;
        }
        const auto entry = closedCards.find(*block.questionID);
        if (entry == closedCards.end()) {
            closedCards.emplace(*block.questionID, block);
        } else if (!isPreferred(entry->second, block)) {
            entry->second = block;
        }
    }

    std::vector<Block> rest;
    rest.reserve(closedCards.size() + others.size());
    for (auto& [id, card] : closedCards) {
        rest.push_back(std::move(card));
    }
    rest.insert(rest.end(), others.begin(), others.end());
    std::stable_sort(rest.begin(), rest.end(), [](const Block& a, const Block& b) {
        return a.position.key < b.position.key;
    });

    std::string text;
    bool first = true;
    for (const auto* list : {&openCards, &rest}) {
        for (const Block& block : *list) {
            if (!first) {
                text += '\n';
            }
            first = false;
            text += core::MarkdownCodec::serializeLine(block);
        }
    }
    return text;
}

} // namespace mnemora::QuestionsDocRegeneration
