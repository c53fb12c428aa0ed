/// What "react --learn" stores.
#pragma once

#include "cli/batch/delivery.hpp"
#include "cli/host.hpp"
#include "host/answers/answer.hpp"

#include <array>
#include <string>

namespace saddlefit::cli {

/// Takes the saddle points in that workers find, and stores them in the end.
class Learning {
public:
    /// @param database empty: nothing is learned
    /// @param outputs  how many pieces of a delivery are for output files
    Learning(const std::string &database, std::size_t outputs)
        : database_(database), before_(outputs) {}

    /// In the worker: behind the pieces of the output files.
    static void addTo(Delivery &delivery, const Reaction &reaction, const Answer &answer);

    void take(const Delivery &delivery);

    /// Throws Error where the database cannot be written.
    void store() const;

private:
    std::string database_;
    std::size_t before_;
    std::array<std::string, 3> records_;
};

} // namespace saddlefit::cli
