#include "host/saddle/band.hpp"

#include "host/saddle/hessian.hpp"

#include <algorithm>
#include <deque>

namespace saddlefit::host {

namespace {

constexpr int images = 9;       // between the ends, which make it eleven
constexpr double spring = 0.05; // hartree per square bohr
constexpr int climbsFrom = 6;
constexpr int mostIterations = 16;
constexpr double longestStep = 0.25; // bohr, of one image
constexpr double smallForce = 3e-3;  // hartree per bohr, of the highest image
constexpr std::size_t memory = 8;    // of steps
constexpr std::size_t mostPeaks = 2;

class Band {
public:
    Band(EnergySurface &surface, const Eigen::VectorXd &from, const Eigen::VectorXd &to)
        : surface_(surface), path_(interpolatedPath(from, to, images)), size_(from.size()) {
        energies_ = {surface_.at(path_.front()).energy};
        energies_.resize(path_.size());
        energies_.back() = surface_.at(path_.back()).energy;
        for (std::size_t i = 1; i <= images; ++i)
            stiffness_.emplace_back(modelHessian(surface_.species(), path_[i]).ldlt());
    }

    std::vector<PathPeak> peaks() {
        for (int iteration = 0; iteration < mostIterations; ++iteration) {
            const Eigen::VectorXd force = forces(iteration >= climbsFrom);
            const Eigen::VectorXd top = force.segment(offset(highest()), size_);
            if (iteration > climbsFrom && top.lpNorm<Eigen::Infinity>() < smallForce) break;
            if (iteration + 1 < mostIterations) move(force);
        }
        auto found = peaksOf(path_, energies_);
        if (found.size() > mostPeaks) found.resize(mostPeaks);
        return found;
    }

private:
    Eigen::Index offset(std::size_t image) const {
        return static_cast<Eigen::Index>(image - 1) * size_;
    }
    std::size_t highest() const {
        const auto top = std::max_element(energies_.begin() + 1, energies_.end() - 1);
        return static_cast<std::size_t>(top - energies_.begin());
    }

    /// Towards the higher neighbour; at an extremum, of both with their energies as weights.
    Eigen::VectorXd tangentAt(std::size_t i) const {
        const Eigen::VectorXd ahead = path_[i + 1] - path_[i], behind = path_[i] - path_[i - 1];
        const double rise = energies_[i + 1] - energies_[i], fall = energies_[i - 1] - energies_[i];
        if (rise > 0.0 && fall < 0.0) return ahead.normalized();
        if (rise < 0.0 && fall > 0.0) return behind.normalized();
        const double most = std::max(std::abs(rise), std::abs(fall));
        const double least = std::min(std::abs(rise), std::abs(fall));
        const bool forwards = energies_[i + 1] > energies_[i - 1];
        const Eigen::VectorXd mixed =
            ahead * (forwards ? most : least) + behind * (forwards ? least : most);
        return mixed.norm() > 1e-12 ? mixed.normalized() : (ahead + behind).normalized();
    }

    Eigen::VectorXd forces(bool climbs) {
        std::vector<Eigen::VectorXd> gradients(path_.size());
        for (std::size_t i = 1; i <= images; ++i) {
            auto value = surface_.at(path_[i]);
            energies_[i] = value.energy;
            gradients[i] = std::move(value.gradient);
        }
        Eigen::VectorXd all(images * size_);
        for (std::size_t i = 1; i <= images; ++i) {
            const auto tangent = tangentAt(i);
            const double along = gradients[i].dot(tangent);
            Eigen::VectorXd force = along * tangent - gradients[i];
            if (climbs && i == highest())
                force += along * tangent;
            else
                force += spring *
                         ((path_[i + 1] - path_[i]).norm() - (path_[i] - path_[i - 1]).norm()) *
                         tangent;
            all.segment(offset(i), size_) = force;
        }
        return all;
    }

    Eigen::VectorXd preconditioned(const Eigen::VectorXd &force) const {
        Eigen::VectorXd result(force.size());
        for (std::size_t i = 1; i <= images; ++i)
            result.segment(offset(i), size_) =
                stiffness_[i - 1].solve(force.segment(offset(i), size_));
        return result;
    }

    /// The two loops of the limited-memory BFGS method (Nocedal, Math. Comput. 35, 773 (1980)).
    Eigen::VectorXd quasiNewton(Eigen::VectorXd force) const {
        std::vector<double> shares(steps_.size());
        for (std::size_t k = steps_.size(); k-- > 0;) {
            shares[k] = steps_[k].dot(force) / steps_[k].dot(changes_[k]);
            force -= shares[k] * changes_[k];
        }
        Eigen::VectorXd step = preconditioned(force);
        for (std::size_t k = 0; k < steps_.size(); ++k) {
            const double share = changes_[k].dot(step) / steps_[k].dot(changes_[k]);
            step += (shares[k] - share) * steps_[k];
        }
        return step;
    }

    void remember(const Eigen::VectorXd &force) {
        if (lastForce_.size() == 0) return;
        const Eigen::VectorXd change = lastForce_ - force;
        if (change.dot(lastStep_) <= 1e-8 * change.norm() * lastStep_.norm()) return;
        steps_.push_back(lastStep_);
        changes_.push_back(change);
        if (steps_.size() <= memory) return;
        steps_.pop_front();
        changes_.pop_front();
    }

    void move(const Eigen::VectorXd &force) {
        remember(force);
        Eigen::VectorXd step = quasiNewton(force);
        if (step.dot(force) <= 0.0) step = preconditioned(force);
        for (std::size_t i = 1; i <= images; ++i) {
            auto part = step.segment(offset(i), size_);
            if (part.norm() > longestStep) part *= longestStep / part.norm();
            path_[i] += part;
        }
        lastForce_ = force;
        lastStep_ = step;
    }

    EnergySurface &surface_;
    std::vector<Eigen::VectorXd> path_;
    std::vector<double> energies_;
    std::vector<Eigen::LDLT<Eigen::MatrixXd>> stiffness_;
    Eigen::Index size_;
    std::deque<Eigen::VectorXd> steps_, changes_;
    Eigen::VectorXd lastForce_, lastStep_;
};

} // namespace

std::vector<PathPeak> bandPeaks(EnergySurface &surface, const Eigen::VectorXd &from,
                                const Eigen::VectorXd &to) {
    return Band(surface, from, to).peaks();
}

} // namespace saddlefit::host
