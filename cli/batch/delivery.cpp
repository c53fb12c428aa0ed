#include "cli/batch/delivery.hpp"

#include "cli/report.hpp"

#include <cstring>

namespace saddlefit::cli {

namespace {

constexpr std::size_t countBytes = sizeof(std::size_t);

Delivery failure(const std::string &what) {
    Delivery delivery;
    delivery.failed = true;
    delivery.messages = "saddlefit: " + what + "\n";
    return delivery;
}

// Both ends run on the same machine, so a count travels as it lies in memory.
void appendCount(std::string &bytes, std::size_t count) {
    bytes.append(reinterpret_cast<const char *>(&count), countBytes);
}

void appendText(std::string &bytes, const std::string &text) {
    appendCount(bytes, text.size());
    bytes += text;
}

std::size_t takeCount(std::string_view &bytes) {
    std::size_t count = 0;
    std::memcpy(&count, bytes.data(), countBytes);
    bytes.remove_prefix(countBytes);
    return count;
}

std::string takeText(std::string_view &bytes) {
    const auto size = takeCount(bytes);
    std::string text(bytes.substr(0, size));
    bytes.remove_prefix(size);
    return text;
}

Delivery deliveryIn(std::string_view bytes) {
    Delivery delivery;
    delivery.failed = takeCount(bytes) != 0;
    delivery.line = takeText(bytes);
    delivery.messages = takeText(bytes);
    delivery.pieces.resize(takeCount(bytes));
    for (auto &piece : delivery.pieces)
        piece = takeText(bytes);
    delivery.outcome = takeText(bytes);
    delivery.origin = takeText(bytes);
    delivery.warnings.resize(takeCount(bytes));
    for (auto &warning : delivery.warnings)
        warning = takeText(bytes);
    return delivery;
}

} // namespace

Delivery perform(const Work &work, std::size_t item) {
    try {
        return work(item);
    } catch (const Error &error) {
        return failure(messageOf(error));
    } catch (const std::exception &error) {
        return failure(std::string("unexpected failure: ") + error.what());
    } catch (...) {
        return failure("unexpected failure");
    }
}

std::string frameOf(const Delivery &delivery) {
    std::string contents;
    appendCount(contents, delivery.failed ? 1 : 0);
    appendText(contents, delivery.line);
    appendText(contents, delivery.messages);
    appendCount(contents, delivery.pieces.size());
    for (const auto &piece : delivery.pieces)
        appendText(contents, piece);
    appendText(contents, delivery.outcome);
    appendText(contents, delivery.origin);
    appendCount(contents, delivery.warnings.size());
    for (const auto &warning : delivery.warnings)
        appendText(contents, warning);
    std::string frame;
    appendText(frame, contents);
    return frame;
}

std::optional<Delivery> takeDelivery(std::string &arrived) {
    std::string_view bytes = arrived;
    if (bytes.size() < countBytes) return std::nullopt;
    const auto size = takeCount(bytes);
    if (bytes.size() < size) return std::nullopt;
    auto delivery = deliveryIn(bytes.substr(0, size));
    arrived.erase(0, countBytes + size);
    return delivery;
}

} // namespace saddlefit::cli
