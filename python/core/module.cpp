#include "host/structures/babel.hpp"
#include "python/core/registers.hpp"

#include <cstdlib>

PYBIND11_MODULE(_saddlefit, module) {
    using namespace saddlefit::python;
    namespace host = saddlefit::host;
    module.doc() = "What saddlefit does, in plain structs; the package saddlefit is for people.";
    module.attr("version") = SADDLEFIT_VERSION;
    // As the program, for the place of its companion.
    if (const char *program = std::getenv("SADDLEFIT_BABEL"))
        host::sharedBabel().setProgram(program);
    registerErrors(module);
    registerStructures(module);
    registerReactions(module);
    registerAnswers(module);
    registerDatabases(module);
    registerPieces(module);
}
