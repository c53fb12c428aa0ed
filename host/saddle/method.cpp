#include "host/saddle/method.hpp"

#include "host/programs/gradient_job.hpp"
#include "host/saddle/program_surface.hpp"
#include "host/saddle/xtb_surface.hpp"

namespace saddlefit::host {

void requireMethodName(const std::string &name) {
    if (!xtbMethodNamed(name)) programMethodNamed(name);
}

void requireMethod(const Method &method) {
    if (const auto xtb = xtbMethodNamed(method.name))
        xtbSurface({{1, 1}, 0, 0}, *xtb);
    else
        requireProgram(programMethodNamed(method.name));
}

std::unique_ptr<EnergySurface> surfaceOf(Species species, const Method &method) {
    if (const auto xtb = xtbMethodNamed(method.name)) return xtbSurface(std::move(species), *xtb);
    return programSurface(std::move(species), method);
}

} // namespace saddlefit::host
