#include "host/search/direction.hpp"

#include <algorithm>
#include <array>

namespace saddlefit::host {

namespace {

Role reverseOf(Role role) {
    constexpr std::array reversed{Role::forms, Role::breaks, Role::strengthens, Role::weakens,
                                  Role::none};
    return reversed.at(static_cast<std::size_t>(role));
}

} // namespace

MatchDirection directionOf(const Reaction &reaction, const Match &match) {
    bool same = true, opposite = true;
    for (std::size_t i = 0; i < reaction.changes.size(); ++i) {
        const Role role = roleOf(reaction.changes[i]);
        if (role != Role::breaks && role != Role::forms) continue;
        same = same && match.roles[i] == role;
        opposite = opposite && match.roles[i] == reverseOf(role);
    }
    if (same) return MatchDirection::same;
    return opposite ? MatchDirection::opposite : MatchDirection::mixed;
}

void preferSameDirection(const Reaction &reaction, std::vector<Match> &matches) {
    const auto has = [&](MatchDirection direction) {
        return [&, direction](const Match &match) {
            return !match.exact && directionOf(reaction, match) == direction;
        };
    };
    if (matches.empty() || !has(MatchDirection::mixed)(matches.front())) return;
    const auto found = std::find_if(matches.begin(), matches.end(), has(MatchDirection::same));
    if (found != matches.end()) std::rotate(matches.begin(), found, found + 1);
}

} // namespace saddlefit::host
