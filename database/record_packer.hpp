/// The one packer of records.
#pragma once

#include "saddlefit/molecule.h"

#include <cstdint>
#include <vector>

namespace saddlefit {

/// The bytes of a record; none if it is beyond what its fields hold. Throws std::bad_alloc.
std::vector<unsigned char> packedRecord(const char *name, const std::int32_t *codes,
                                        const Molecule &molecule);

} // namespace saddlefit
