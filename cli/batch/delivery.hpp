/// What comes of one item of a batch.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace saddlefit::cli {

/// Texts only, so that a worker process can send it.
struct Delivery {
    bool failed = false;
    std::string line;                ///< for standard output, whole lines
    std::string messages;            ///< for standard error, whole lines
    std::vector<std::string> pieces; ///< one for each output file, in their order; none: nothing
    std::string outcome{};           ///< a word to count by; empty if it is not to be counted
    std::string origin{};            ///< of the item, where there are warnings
    std::vector<std::string> warnings{}; ///< for standard error, before the messages
};

/// Called in a worker process. It prints nothing itself: what it has to say stands in the delivery.
using Work = std::function<Delivery(std::size_t item)>;

/// The delivery of an item, failed if the work throws; the message is the exception's then.
Delivery perform(const Work &work, std::size_t item);

/// A delivery as it goes from a worker to its parent: the number of bytes that follow, then those.
std::string frameOf(const Delivery &delivery);

/// Takes the delivery at the front of what has arrived, once all of its frame is there.
std::optional<Delivery> takeDelivery(std::string &arrived);

} // namespace saddlefit::cli
