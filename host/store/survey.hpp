/// What a database file is made of, damage and all.
#pragma once

#include "host/store/stored_record.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::host {

struct RecordSpan {
    std::size_t offset = 0; ///< of the record in the file, behind its block's header
    std::size_t bytes = 0;  ///< without slack
};

struct Survey {
    std::vector<RecordSpan> records; ///< sound ones, in file order
    std::size_t freeBlocks = 0;
    std::size_t freeBytes = 0;
    std::size_t slackBytes = 0;
    std::size_t passedOver = 0;               ///< bytes in which nothing could be read
    std::optional<Damage> damage;             ///< the first
    std::optional<std::size_t> damagedRecord; ///< position of the record that it is in, if any
};

/// Read every block and record of a file, going on behind damage.
Survey surveyOf(StoreFile &file);
Survey surveyOf(std::string_view bytes);

} // namespace saddlefit::host
