#include "host/saddle/mass_weights.hpp"

#include "host/structures/element_data.hpp"

#include <cmath>

namespace saddlefit::host {

Eigen::VectorXd massRoots(const Species &species, Eigen::Index size) {
    Eigen::VectorXd roots = Eigen::VectorXd::Ones(size);
    for (std::size_t atom = 0; atom < species.elements.size(); ++atom) {
        roots.segment<3>(static_cast<Eigen::Index>(3 * atom)) *=
            std::sqrt(atomicWeight(species.elements[atom]));
    }
    return roots;
}

} // namespace saddlefit::host
