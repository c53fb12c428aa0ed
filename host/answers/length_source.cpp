#include "host/answers/length_source.hpp"

namespace saddlefit::host {

LengthSource sourceOf(const UsualLength &usual) {
    return usual.shared > 0 ? LengthSource::database : LengthSource::estimate;
}

LengthSource lengthSource(const Answer &answer, std::size_t change) {
    if (answer.usualLengths) return sourceOf(answer.usual.at(change));
    if (answer.outcome == Outcome::noMatch) return LengthSource::library;
    const auto *match = answer.matched();
    const bool isMapped =
        answer.outcome == Outcome::exact || match == nullptr || match->lengths.at(change) > 0.0;
    return isMapped ? LengthSource::match : LengthSource::start;
}

} // namespace saddlefit::host
