/// The molecule of a search, ready to be compared with stored structures.
#pragma once

#include "saddlefit/superpose.h"

#include <span>
#include <vector>

namespace saddlefit {

/// Marks for a mapping: the reaction centre is required, other heavy atoms are optional, other
/// hydrogens and dummies are left out.
std::vector<int> mappingMarks(Molecule &mol);

/// The molecule asked for, moved into the frame of its reaction centre, in which candidates are
/// superposed on it. Nothing that is asked of it changes the answers that follow.
class Question {
public:
    /// Moves the molecule and builds its index of bonds. It has to outlive the question.
    explicit Question(Molecule &mol);
    ~Question() { alignMapEnd(&frame_); }
    Question(const Question &) = delete;
    Question &operator=(const Question &) = delete;

    Molecule &molecule() const { return mol_; }
    const std::vector<int> &centre() const { return centre_; } ///< all but it are MAP_SKIP
    std::vector<int> &marks() { return marks_; }               ///< as mappingMarks() gives them

    /// Lay a candidate over the centre by a map; returns the misfit, in angstrom.
    double superpose(Molecule &candidate, const std::vector<int> &map);

    /// False only if superpose() by this map cannot come out below a misfit.
    bool mayBeat(double misfit, const Molecule &candidate, const std::vector<int> &map,
                 bool mirrored) const;

private:
    Molecule &mol_;
    std::vector<int> centre_;
    std::vector<int> marks_;
    AlignMapState frame_{};
    double params_[ALIGN_PARAMS] = {};
};

} // namespace saddlefit
