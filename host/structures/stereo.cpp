#include "host/structures/stereo.hpp"

#include "host/structures/host_molecule.hpp"
#include "host/system/error.hpp"

#include <vector>

namespace saddlefit::host {

namespace {

char letterOf(int code) {
    if (code == 1) return 'R';
    return code == 2 ? 'S' : '-';
}

} // namespace

std::string stereoCodes(const Structure &structure) {
    const auto mol = hostMolecule(structure.atoms, structure.bonds);
    std::vector<int> codes(structure.atoms.size());
    if (C_getRS(mol.get(), codes.data()) != 1) {
        throw Error(ErrorKind::system, "not enough memory").at(structure.origin);
    }
    std::string letters;
    for (const int code : codes)
        letters += letterOf(code);
    return letters;
}

} // namespace saddlefit::host
