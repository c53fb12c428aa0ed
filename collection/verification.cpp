#include "collection/verification.hpp"

#include "collection/reaction_hash.hpp"
#include "host/saddle/ends.hpp"
#include "host/saddle/xtb_surface.hpp"
#include "host/structures/units.hpp"

#include <cmath>

namespace saddlefit::collection {

std::string faultOf(const std::vector<int> &elements, int charge, const Eigen::VectorXd &saddle,
                    double energy, const std::string &hash) {
    constexpr double sameEnergy = 0.05; // kcal/mol
    const Species species{elements, charge, 0};
    const auto surface = xtbSurface(species);
    const auto unknown = [](const Eigen::VectorXd &at) {
        return Eigen::VectorXd(Eigen::VectorXd::Zero(at.size()));
    };
    const auto point = findFirstOrder(*surface, {saddle, std::nullopt, std::nullopt}, unknown, {});
    if (!point.isFirstOrder()) return "no first-order saddle";
    if (point.vibrations.wavenumbers[0] > -Filters{}.leastWavenumber) return "a soft mode";
    if (std::abs(point.energy - energy) * kcalPerHartree > sameEnergy) return "another energy";
    const auto ends = endsOf(*surface, point, Descent::fine);
    if (reactionHash(elements, charge, ends[0].bonds, ends[1].bonds) != hash)
        return "another reaction";
    return {};
}

} // namespace saddlefit::collection
