#pragma once

#include <QList>

#include <map>
#include <set>
#include <string>
#include <vector>

#include "core/Block.h"
#include "registry/Question.h"

namespace mnemora {

// How the phone's inbox document is rebuilt from the open questions: open cards newest question
// first, in the index's order; then the cards of questions that have left the open set and every
// other line, by position. Pure: the mirror hands it what it read and fetched.
namespace QuestionsDocRegeneration {

// How a question that is no longer open ended, by its slug.
enum class Resolution { answered, dismissed };
using Resolutions = std::map<std::string, Resolution>;

// The text of the document: each card's line, joined with line feeds, no line feed at the end.
// `open` is in query order, newest first; `foreign` holds the question ids of cards that belong to
// another vault. An open question whose card the phone has answered gets no open card beside it.
std::string regenerate(const std::vector<core::Block>& blocks, const QList<Question>& open,
                       const std::set<std::string>& foreign, const Resolutions& resolutions);

// Of two closed cards of one question, whether `entry` stays over `newcomer`: the one that alone
// carries an answer, else the one answered later or at the same time.
bool isPreferred(const core::Block& entry, const core::Block& newcomer);

// The open card of a question not yet in the document, placed after `last`.
core::Block newCard(const Question& question, const std::optional<core::FractionalIndex>& last);

} // namespace QuestionsDocRegeneration

} // namespace mnemora
