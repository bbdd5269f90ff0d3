#pragma once

#include "IndexRows.h"

namespace mnemora::refdaemon {

// The question files of a vault, `Registry/{identity}/questions/{slug}.md`, as rows of the
// `entities` table with the type "question".
namespace QuestionScan {

IndexRows rows(const QString& vaultPath);

} // namespace QuestionScan

} // namespace mnemora::refdaemon
