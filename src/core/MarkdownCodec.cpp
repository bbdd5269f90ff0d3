#include "core/MarkdownCodec.h"

#include <algorithm>
#include <charconv>
#include <type_traits>
#include <utf8proc.h>

namespace mnemora::core::MarkdownCodec {

namespace {

constexpr std::string_view kSeparator = " :: ";
constexpr std::string_view kQuestionMarker = "? ";
constexpr std::string_view kCloseStatusMarker = "§ ";
constexpr std::string_view kDeliverableMarker = "▸ ";
constexpr std::string_view kLedgerRowMarker = "◈ ";
constexpr std::string_view kLossyReason =
    "does not re-serialize identically — a token escape is lossy";
constexpr std::size_t kPreviewLength = 80;

using Tokens = std::vector<std::string_view>;

bool isSet(const std::optional<std::string>& value) {
    return value && !value->empty();
}

// ---- Writing ----------------------------------------------------------------------------------

void appendToken(std::string& out, const std::optional<std::string>& value) {
    if (!value || value->empty()) {
        out += '-';
        return;
    }
    if (*value == "-") {
        out += "%2D";
        return;
    }
    // Between its blanks a bare "::" would read as the separator " :: " and cut the row short,
    // so it is escaped like "-"; an older reader keeps such a line as text, untouched.
    if (*value == "::") {
        out += "%3A%3A";
        return;
    }
    for (char c : *value) {
        switch (c) {
        case '\n':
            out += "%0A";
            break;
        case '\r':
            out += "%0D";
            break;
        case ' ':
            out += "%20";
            break;
        case '%':
            out += "%25";
            break;
        default:
            out += c;
        }
    }
}

void appendToken(std::string& out, const std::optional<std::int64_t>& value) {
    if (!value) {
        out += '-';
        return;
    }
    char digits[24];
    const auto result = std::to_chars(digits, digits + sizeof digits, *value);
    out.append(digits, result.ptr);
}

template <typename E>
requires std::is_enum_v<E>
void appendToken(std::string& out, E value) {
    out += wireWord(value);
}

template <typename E> void appendToken(std::string& out, const std::optional<E>& value) {
    if (value) {
        out += wireWord(*value);
    } else {
        out += '-';
    }
}

// Writes the tokens blank-separated.
class RowWriter {
public:
    explicit RowWriter(std::string& out)
        : out_(out) {}

    template <typename T> RowWriter& operator<<(const T& value) {
        if (!first_) {
            out_ += ' ';
        }
        first_ = false;
        appendToken(out_, value);
        return *this;
    }

private:
    std::string& out_;
    bool first_ = true;
};

// The shortest of the 8-, 11-, 12-, 15- and 16-token forms that holds the block's data. A reader
// of an older build sees extra trailing tokens as a wrong count and keeps the line as text.
void appendQuestionRow(std::string& out, const Block& b) {
    const bool applied = isSet(b.appliedAt);
    const bool extended = isSet(b.questionKind) || isSet(b.suggestedActions) || isSet(b.period);
    // An empty books id is written as absent: a "-" in a form that only an empty value asked for
    // would read back as the shorter form's line, and the whole line would fall back to text.
    const bool books = isSet(b.booksID);
    const bool transcribing = b.transcriptionState.has_value() ||
                              b.transcriptionProgress.has_value() || isSet(b.transcriptionPartial);

    RowWriter row(out);
    // The status is a bare word with no absent form.
    row << b.questionStatus.value_or(QuestionCardStatus::open) << b.questionID << b.askedBy
        << b.askedAt << b.answeredBy << b.answeredAt << b.audioAssetRef << b.answer;
    if (applied || extended || books || transcribing) {
        row << b.transcriptionState << b.transcriptionProgress << b.transcriptionPartial;
    }
    if (applied || extended || books) {
        row << b.booksID;
    }
    if (applied || extended) {
        row << b.questionKind << b.suggestedActions << b.period;
    }
    if (applied) {
        row << b.appliedAt;
    }
}

void appendTypedLine(std::string& out, std::string_view marker, const Block& b) {
    out += marker;
    switch (b.kind) {
    case BlockKind::question:
        appendQuestionRow(out, b);
        break;
    case BlockKind::closeStatus:
        RowWriter(out) << b.period << b.business << b.closePhase << b.activity << b.startedAt
                       << b.movedAt << b.blockedKind << b.blockedReason << b.answerableCount;
        break;
    case BlockKind::deliverable:
        RowWriter(out) << b.deliverableLabel << b.deliverableDetail << b.deliverableStatus
                       << b.countDone << b.countTotal;
        break;
    case BlockKind::ledgerRow:
        RowWriter(out) << b.ledgerDate << b.ledgerOrigin << b.ledgerAmount << b.ledgerState;
        break;
    default:
        break;
    }
    out += kSeparator;
    out += b.text;
}

void appendLine(std::string& out, const Block& b) {
    switch (b.kind) {
    case BlockKind::heading:
        // Markdown has six levels; more marks would make the line plain text.
        out.append(static_cast<std::size_t>(std::clamp(b.level, 1, 6)), '#');
        out += ' ';
        out += b.text;
        break;
    case BlockKind::item:
        out += b.checked.value_or(false) ? "- [x] " : "- [ ] ";
        out += b.text;
        break;
    case BlockKind::text:
        out += b.text;
        break;
    case BlockKind::question:
        appendTypedLine(out, kQuestionMarker, b);
        break;
    case BlockKind::closeStatus:
        appendTypedLine(out, kCloseStatusMarker, b);
        break;
    case BlockKind::deliverable:
        appendTypedLine(out, kDeliverableMarker, b);
        break;
    case BlockKind::ledgerRow:
        appendTypedLine(out, kLedgerRowMarker, b);
        break;
    }
}

// ---- Reading ----------------------------------------------------------------------------------

// Pieces between single blanks, empty pieces kept: "a  b" is three tokens, "" is one.
Tokens splitRow(std::string_view row) {
    Tokens tokens;
    std::size_t start = 0;
    while (true) {
        const std::size_t blank = row.find(' ', start);
        if (blank == std::string_view::npos) {
            tokens.push_back(row.substr(start));
            return tokens;
        }
        tokens.push_back(row.substr(start, blank - start));
        start = blank + 1;
    }
}

// An optional "+" or "-" and at least one decimal digit, within 64 bits.
std::optional<std::int64_t> parseInteger(std::string_view text) {
    std::string_view digits = text;
    if (!digits.empty() && (digits.front() == '+' || digits.front() == '-')) {
        digits.remove_prefix(1);
    }
    if (digits.empty() ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return std::nullopt;
    }
    // from_chars takes a minus sign but no plus sign.
    const std::string_view number = text.front() == '+' ? digits : text;
    std::int64_t value = 0;
    const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec != std::errc() || result.ptr != number.data() + number.size()) {
        return std::nullopt;
    }
    return value;
}

// Reads the tokens of one row in order and keeps the first failure as the degradation reason.
class RowReader {
public:
    explicit RowReader(const Tokens& tokens)
        : tokens_(tokens) {}

    const std::optional<std::string>& failure() const { return failure_; }

    void text(std::size_t index, OptionalString& field) {
        if (!failure_) {
            field = decodeToken(tokens_[index]);
        }
    }

    void integer(std::size_t index, std::optional<std::int64_t>& field, std::string_view what) {
        if (failure_) {
            return;
        }
        const std::optional<std::string> decoded = decodeToken(tokens_[index]);
        if (!decoded) {
            return;
        }
        field = parseInteger(*decoded);
        if (!field) {
            fail("non-integer " + std::string(what) + " '" + *decoded + "'");
        }
    }

    template <typename E>
    void word(std::size_t index, std::optional<E>& field, std::string_view what,
              std::string_view hint = {}) {
        if (failure_) {
            return;
        }
        const std::optional<std::string> decoded = decodeToken(tokens_[index]);
        if (!decoded) {
            return;
        }
        field = fromWireWord<E>(*decoded);
        if (!field) {
            fail("unknown " + std::string(what) + " '" + *decoded + "'" + std::string(hint));
        }
    }

    void fail(std::string reason) {
        if (!failure_) {
            failure_ = std::move(reason);
        }
    }

private:
    const Tokens& tokens_;
    std::optional<std::string> failure_;
};

constexpr std::string_view kNewerBuild = " — probably written by a newer build";

std::optional<std::string> readQuestionRow(const Tokens& tokens, Block& b) {
    const std::size_t n = tokens.size();
    if (n != 8 && n != 11 && n != 12 && n != 15 && n != 16) {
        return "expected one of [8, 11, 12, 15, 16] tokens, got " + std::to_string(n);
    }
    RowReader row(tokens);
    // The status is a raw word: it is never escaped and has no absent form.
    b.questionStatus = fromWireWord<QuestionCardStatus>(tokens[0]);
    if (!b.questionStatus) {
        row.fail("unknown status '" + std::string(tokens[0]) + "'" + std::string(kNewerBuild));
    }
    row.text(1, b.questionID);
    row.text(2, b.askedBy);
    row.text(3, b.askedAt);
    row.text(4, b.answeredBy);
    row.text(5, b.answeredAt);
    row.text(6, b.audioAssetRef);
    row.text(7, b.answer);
    if (n >= 11) {
        row.word(8, b.transcriptionState, "transcription state");
        row.integer(9, b.transcriptionProgress, "transcription progress");
        row.text(10, b.transcriptionPartial);
    }
    if (n >= 12) {
        row.text(11, b.booksID);
    }
    if (n >= 15) {
        row.text(12, b.questionKind);
        row.text(13, b.suggestedActions);
        row.text(14, b.period);
    }
    if (n == 16) {
        row.text(15, b.appliedAt);
    }
    return row.failure();
}

std::optional<std::string> readCloseStatusRow(const Tokens& tokens, Block& b) {
    if (tokens.size() != 9) {
        return "expected 9 tokens, got " + std::to_string(tokens.size());
    }
    RowReader row(tokens);
    row.text(0, b.period);
    row.text(1, b.business);
    row.word(2, b.closePhase, "phase", kNewerBuild);
    row.text(3, b.activity);
    row.text(4, b.startedAt);
    row.text(5, b.movedAt);
    row.word(6, b.blockedKind, "blocked kind");
    row.text(7, b.blockedReason);
    row.integer(8, b.answerableCount, "answerable count");
    return row.failure();
}

std::optional<std::string> readDeliverableRow(const Tokens& tokens, Block& b) {
    if (tokens.size() != 5) {
        return "expected 5 tokens, got " + std::to_string(tokens.size());
    }
    RowReader row(tokens);
    row.text(0, b.deliverableLabel);
    row.text(1, b.deliverableDetail);
    row.word(2, b.deliverableStatus, "deliverable status");
    row.integer(3, b.countDone, "countDone");
    row.integer(4, b.countTotal, "countTotal");
    return row.failure();
}

std::optional<std::string> readLedgerRow(const Tokens& tokens, Block& b) {
    if (tokens.size() != 4) {
        return "expected 4 tokens, got " + std::to_string(tokens.size());
    }
    RowReader row(tokens);
    row.text(0, b.ledgerDate);
    row.text(1, b.ledgerOrigin);
    row.text(2, b.ledgerAmount);
    row.word(3, b.ledgerState, "ledger state", kNewerBuild);
    return row.failure();
}

bool readHeading(std::string_view line, Block& block) {
    const std::size_t count = std::min(line.find_first_not_of('#'), line.size());
    if (count < 1 || count > 6 || count == line.size() || line[count] != ' ') {
        return false;
    }
    // What follows the blank is the text as it stands, so rebuilding gives the line back.
    block.kind = BlockKind::heading;
    block.level = static_cast<int>(count);
    block.text = line.substr(count + 1);
    return true;
}

bool readItem(std::string_view line, Block& block) {
    if (line.size() < 6 || !line.starts_with("- [") || (line[3] != ' ' && line[3] != 'x') ||
        line[4] != ']' || line[5] != ' ') {
        return false;
    }
    block.kind = BlockKind::item;
    block.checked = line[3] == 'x';
    block.text = line.substr(6);
    return true;
}

using RowRead = std::optional<std::string> (*)(const Tokens&, Block&);

struct TypedLineClass {
    BlockKind kind;
    std::string_view marker;
    RowRead readRow;
};

constexpr TypedLineClass kTypedLineClasses[] = {
    {BlockKind::question, kQuestionMarker, readQuestionRow},
    {BlockKind::closeStatus, kCloseStatusMarker, readCloseStatusRow},
    {BlockKind::deliverable, kDeliverableMarker, readDeliverableRow},
    {BlockKind::ledgerRow, kLedgerRowMarker, readLedgerRow},
};

bool readTyped(const TypedLineClass& lineClass, std::string_view line, Block& block,
               std::vector<Degradation>& degradations) {
    if (!line.starts_with(lineClass.marker)) {
        return false;
    }
    const auto degrade = [&](std::string reason) {
        degradations.push_back({lineClass.kind, std::move(reason), linePreview(line)});
        return false;
    };
    const std::string_view rest = line.substr(lineClass.marker.size());
    const std::size_t separator = rest.find(kSeparator);
    if (separator == std::string_view::npos) {
        return degrade("no ' :: ' separator");
    }
    Block parsed{.id = block.id, .kind = lineClass.kind};
    parsed.text = rest.substr(separator + kSeparator.size());
    if (auto failure = lineClass.readRow(splitRow(rest.substr(0, separator)), parsed)) {
        return degrade(std::move(*failure));
    }
    std::string rebuilt;
    rebuilt.reserve(line.size());
    appendLine(rebuilt, parsed);
    if (rebuilt != line) {
        return degrade(std::string(kLossyReason));
    }
    block = std::move(parsed);
    return true;
}

void readLine(std::string_view line, Block& block, std::vector<Degradation>& degradations) {
    if (readHeading(line, block) || readItem(line, block)) {
        return;
    }
    for (const TypedLineClass& lineClass : kTypedLineClasses) {
        if (readTyped(lineClass, line, block, degradations)) {
            return;
        }
    }
    block.kind = BlockKind::text;
    block.text = line;
}

void replaceAll(std::string& text, std::string_view from, char to) {
    std::size_t at = text.find(from);
    if (at == std::string::npos) {
        return;
    }
    std::string result;
    result.reserve(text.size());
    std::size_t start = 0;
    while (at != std::string::npos) {
        result.append(text, start, at - start);
        result += to;
        start = at + from.size();
        at = text.find(from, start);
    }
    result.append(text, start);
    text = std::move(result);
}

} // namespace

std::vector<Block> parse(std::string_view text) {
    std::vector<Degradation> ignored;
    return parse(text, ignored);
}

std::vector<Block> parse(std::string_view text, std::vector<Degradation>& degradations) {
    const auto lineCount = static_cast<int>(std::count(text.begin(), text.end(), '\n') + 1);
    std::vector<FractionalIndex> positions = FractionalIndex::evenlySpaced(lineCount);
    std::vector<Block> blocks;
    reserveBlocks(blocks, static_cast<std::size_t>(lineCount));
    blocks.resize(static_cast<std::size_t>(lineCount));
    std::size_t start = 0;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        readLine(text.substr(start, end - start), blocks[i], degradations);
        blocks[i].position = std::move(positions[i]);
        start = end + 1;
    }
    return blocks;
}

std::string serialize(std::span<const Block> blocks) {
    std::vector<const Block*> order;
    order.reserve(blocks.size());
    for (const Block& block : blocks) {
        order.push_back(&block);
    }
    const auto byPosition = [](const Block* a, const Block* b) {
        return a->position < b->position;
    };
    // Blocks mostly arrive in order already; checking first saves comparing long keys again.
    if (!std::is_sorted(order.begin(), order.end(), byPosition)) {
        std::stable_sort(order.begin(), order.end(), byPosition);
    }
    std::string out;
    for (std::size_t i = 0; i < order.size(); ++i) {
        if (i > 0) {
            out += '\n';
        }
        appendLine(out, *order[i]);
    }
    return out;
}

std::string serializeLine(const Block& block) {
    std::string line;
    appendLine(line, block);
    return line;
}

std::string encodeToken(const std::optional<std::string>& value) {
    std::string token;
    appendToken(token, value);
    return token;
}

std::optional<std::string> decodeToken(std::string_view token) {
    if (token == "-") {
        return std::nullopt;
    }
    std::string text(token);
    if (text.find('%') != std::string::npos) {
        replaceAll(text, "%2D", '-');
        replaceAll(text, "%0D", '\r');
        replaceAll(text, "%0A", '\n');
        replaceAll(text, "%20", ' ');
        replaceAll(text, "%3A", ':');
        replaceAll(text, "%25", '%');
    }
    return text;
}

std::string quotedPreview(std::string_view line) {
    // Appended piece by piece: GCC 12 at -O3 misreads `"\"" + std::string` as an overlapping copy.
    const std::string preview = linePreview(line);
    std::string quoted;
    quoted.reserve(preview.size() + 2);
    quoted += '"';
    quoted += preview;
    quoted += '"';
    return quoted;
}

std::string linePreview(std::string_view line) {
    // Every character takes at least one byte.
    if (line.size() <= kPreviewLength) {
        return std::string(line);
    }
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(line.data());
    const auto size = static_cast<utf8proc_ssize_t>(line.size());
    utf8proc_ssize_t at = 0;
    utf8proc_int32_t previous = -1; // none yet, or an invalid byte
    utf8proc_int32_t state = 0;
    std::size_t characters = 0;
    while (at < size) {
        utf8proc_int32_t codepoint = -1;
        utf8proc_ssize_t length = utf8proc_iterate(bytes + at, size - at, &codepoint);
        if (length < 1) {
            codepoint = -1;
            length = 1;
        }
        // An invalid byte stands alone: it ends the cluster before it and starts none after it.
        const bool startsCharacter = previous < 0 || codepoint < 0 ||
                                     utf8proc_grapheme_break_stateful(previous, codepoint, &state);
        if (startsCharacter) {
            if (characters == kPreviewLength) {
                return std::string(line.substr(0, static_cast<std::size_t>(at))) + "…";
            }
            ++characters;
        }
        if (codepoint < 0) {
            state = 0;
        }
        previous = codepoint;
        at += length;
    }
    return std::string(line);
}

} // namespace mnemora::core::MarkdownCodec
