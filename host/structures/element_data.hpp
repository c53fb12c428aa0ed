#pragma once

namespace saddlefit::host {

/// In bohr; of carbon the sp3 value, of metals in two spin states the low one. For elements above
/// radon that of radon. Cordero et al., Dalton Trans. 2008, 2832.
double covalentRadius(int element);

/// Standard atomic weight in dalton, or the mass number of the longest-lived isotope; for elements
/// above radon that of radon.
double atomicWeight(int element);

} // namespace saddlefit::host
