#include "reaction/question.hpp"

#include "saddlefit/matching.h"
#include "saddlefit/reaction.h"

#include "molecule/ranges.hpp"
#include "superpose/alignment.hpp"

namespace saddlefit {

namespace {

std::vector<int> centreMarks(Molecule &mol, int others) {
    std::vector<int> marks(atomsOf(mol).size());
    mapTransition(&mol, marks.data(), MAP_REQUIRED, others);
    return marks;
}

} // namespace

std::vector<int> mappingMarks(Molecule &mol) {
    std::vector<int> marks = centreMarks(mol, MAP_OPTIONAL);
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const int element = mol.atoms[i].element;
        if (marks[i] != MAP_REQUIRED && (element == 0 || element == 1)) marks[i] = MAP_SKIP;
    }
    return marks;
}

Question::Question(Molecule &mol)
    : mol_(mol), centre_(centreMarks(mol, MAP_SKIP)), marks_(mappingMarks(mol)) {
    ensureBondlink(mol);
    alignMapStart(&mol, centre_.data(), nullptr, &frame_, params_);
}

double Question::superpose(Molecule &candidate, const std::vector<int> &map) {
    return alignMapMol(&candidate, map.data(), static_cast<int>(map.size()), nullptr, &frame_,
                       params_);
}

bool Question::mayBeat(double misfit, const Molecule &candidate, const std::vector<int> &map,
                       bool mirrored) const {
    return alignmentMayBeat(misfit, candidate, map, mirrored, frame_);
}

} // namespace saddlefit
