#include "python/core/registers.hpp"

PYBIND11_MODULE(_saddlefit, module) {
    using namespace saddlefit::python;
    module.doc() = "What saddlefit does, in plain structs; the package saddlefit is for people.";
    module.attr("version") = SADDLEFIT_VERSION;
    registerErrors(module);
    registerStructures(module);
    registerReactions(module);
    registerAnswers(module);
    registerDatabases(module);
    registerPieces(module);
}
