#include "cli/saddle_options.hpp"

#include "cli/order_option.hpp"

namespace saddlefit::cli {

std::string complaintAboutMethod(const std::string &name) {
    try {
        requireMethodName(name);
        return {};
    } catch (const Error &error) {
        return error.what();
    }
}

void addMethodOption(CLI::App &command, SaddleOptions &options) {
    command
        .add_option("--method", options.method.name,
                    "Method of energies and geometries: one of xtb's, or a program (orca, "
                    "gaussian, psi4, nwchem, mopac, command) and its method, as psi4:hf/sto-3g")
        ->check(complaintAboutMethod)
        ->type_name(methodType)
        ->capture_default_str();
    addGradientTimeOption(command, options);
}

void addGradientTimeOption(CLI::App &command, SaddleOptions &options) {
    command
        .add_option("--gradient-time", options.method.gradientTime,
                    "Seconds for one gradient of such a program")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
}

void addCheckOption(CLI::App &command, SaddleOptions &options) {
    addChoice(command, "--check", options.check,
              "Come to the ends of a saddle point as fast as the curvature allows (quick, "
              "default), or in steps too small to leave a valley (fine)");
}

void addGradientOption(CLI::App &command, SaddleOptions &options) {
    command
        .add_option("--gradient", options.largestGradient,
                    "Largest component of a gradient that counts as none, hartree per bohr")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
}

void addLadderOptions(CLI::App &command, SaddleOptions &options) {
    constexpr int most = 100;
    command
        .add_option("--attempts", options.attempts,
                    "Searches for one saddle point: from the guess, from the highest point of a "
                    "path between both sides, from the usual lengths")
        ->check(CLI::Range(1, most))
        ->capture_default_str();
    command
        .add_option("--steps", options.steps,
                    "Saddle points that a reaction may go over: with 2, a search goes on from "
                    "the wrong end of a saddle point")
        ->check(CLI::Range(1, 2))
        ->capture_default_str();
    addCheckOption(command, options);
}

} // namespace saddlefit::cli
