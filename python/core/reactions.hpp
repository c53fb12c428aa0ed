/// Reactions that are in memory.
#pragma once

#include "host/reactions/side_source.hpp"
#include "host/structures/structure.hpp"
#include "python/core/options.hpp"

#include <memory>
#include <optional>
#include <vector>

namespace saddlefit::python {

/// What a reaction is made of.
struct Sides {
    std::shared_ptr<const host::SideSource> source;
    std::optional<host::Structure> geometry; ///< to start from, in place of Options::start
    std::size_t number = 1;                  ///< among others, from 1
};

host::ReactionReader readerOf(const Sides &sides, const Options &options);

/// In each way in which the atoms can be paired; see host::ReactionReader.
std::vector<host::Reaction> reactionsOf(const Sides &sides, const Options &options);

} // namespace saddlefit::python
