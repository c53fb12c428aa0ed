/// One of several legal drawings.
#pragma once

#include "host/structures/structure.hpp"

namespace saddlefit::host {

/// Redraw sides that name no bonds of their own so that fewer bond orders change: double bonds are
/// shifted along paths and around rings of alternating bonds, with the charge or the open valence
/// that stands at the end, as long as neither charged atoms nor open valences become more, and the
/// lengths of the bonds fit about as well. A side whose record names bonds stays as it is drawn.
///
/// The atoms correspond by their order; bonds have definite orders.
void settleDrawings(Structure &reactant, Structure &product);

} // namespace saddlefit::host
