#include "cli/learning.hpp"

#include "cli/database/addition.hpp"
#include "host/answers/learned_saddles.hpp"

#include <cstdio>
#include <utility>

namespace saddlefit::cli {

void Learning::addTo(Delivery &delivery, const Reaction &reaction, const Answer &answer) {
    auto [reactants, products, saddles] = learnedSaddles(reaction, answer);
    for (auto *records : {&reactants, &products, &saddles})
        delivery.pieces.push_back(std::move(*records));
}

void Learning::take(const Delivery &delivery) {
    for (std::size_t i = 0; i < records_.size() && before_ + i < delivery.pieces.size(); ++i)
        records_[i] += delivery.pieces[before_ + i];
}

void Learning::store() const {
    if (database_.empty() || records_.back().empty()) return;
    std::fprintf(stderr, "saddlefit: %zu saddle points stored in %s\n",
                 addRecords(database_, {records_[0], records_[1], records_[2]}), database_.c_str());
}

} // namespace saddlefit::cli
