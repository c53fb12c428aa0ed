#include "host/saddle/program_surface.hpp"

#include "host/programs/gradient_job.hpp"
#include "host/saddle/positions.hpp"
#include "host/system/temporary_folder.hpp"

#include <optional>

namespace saddlefit::host {

namespace {

constexpr int heaviestElement = 118; // that there is: each program has limits of its own

class ProgramSurface final : public EnergySurface {
public:
    ProgramSurface(Species molecule, const Method &method)
        : EnergySurface(std::move(molecule)),
          options_(method),
          program_(programMethodNamed(method.name)) {
        job_.method = program_.method;
        job_.charge = species().charge;
        job_.unpaired = species().unpaired;
        for (const int element : species().elements)
            job_.atoms.push_back({element, 0, {}});
    }

    std::string level() const override { return options_.name; }

private:
    Evaluation evaluate(const Eigen::VectorXd &coordinates) override {
        const auto positions = inAngstrom(coordinates);
        for (std::size_t i = 0; i < positions.size(); ++i)
            job_.atoms[i].position = positions[i];
        try {
            return computed();
        } catch (const Error &error) {
            if (error.kind() != ErrorKind::program || !job_.goesOn) throw;
        }
        // A wave function from elsewhere can be what keeps this one from converging.
        return computed();
    }

    Evaluation computed() {
        job_.goesOn = folder_.has_value();
        if (!folder_) folder_.emplace(options_.folder);
        try {
            const auto [energy, gradient] =
                computeGradient(program_, job_, folder_->path(), options_.gradientTime);
            return {energy,
                    Eigen::Map<const Eigen::VectorXd>(gradient.data(), std::ssize(gradient))};
        } catch (const Error &) {
            folder_.reset();
            throw;
        }
    }

    Method options_;
    ProgramMethod program_;
    GradientJob job_;
    std::optional<TemporaryFolder> folder_;
};

} // namespace

std::unique_ptr<EnergySurface> programSurface(Species species, const Method &method) {
    requirePossible(species, heaviestElement);
    return std::make_unique<ProgramSurface>(std::move(species), method);
}

} // namespace saddlefit::host
