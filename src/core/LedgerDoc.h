#pragma once

#include "core/Block.h"
#include "core/SyncedLedgerState.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mnemora::core {

// The ledger document as a plain value: one `ledgerRow` block per row, in order.
struct LedgerDoc {
    struct Row {
        std::string date{};
        std::string counterparty{};
        std::optional<std::string> origin{};
        std::optional<std::string> amount{};
        SyncedLedgerState state = SyncedLedgerState::working;

        // "03-04" for "2026-03-04"; any other date as it is.
        std::string shortDate() const;

        // The few words the phone shows for the row's state.
        std::string stateLine() const;

        bool operator==(const Row&) const = default;
    };

    struct Counts {
        std::int64_t found = 0;
        std::int64_t working = 0;
        std::int64_t asking = 0;

        std::int64_t total() const { return found + working + asking; }

        bool operator==(const Counts&) const = default;
    };

    std::vector<Row> rows{};

    Counts counts() const;

    // Fresh identifiers every time: continuity comes from matching the file against the sidecar.
    std::vector<Block> blocks() const;

    // Rows need a non-empty date and counterparty; other blocks are skipped.
    static LedgerDoc from(std::vector<Block> blocks);

    bool operator==(const LedgerDoc&) const = default;
};

} // namespace mnemora::core
