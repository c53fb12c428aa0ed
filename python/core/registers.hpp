/// The parts of the extension.
#pragma once

#include <pybind11/pybind11.h>

namespace saddlefit::python {

void registerErrors(pybind11::module_ &module);
void registerStructures(pybind11::module_ &module);
void registerReactions(pybind11::module_ &module);
void registerAnswers(pybind11::module_ &module);
void registerDatabases(pybind11::module_ &module);
void registerPieces(pybind11::module_ &module);

} // namespace saddlefit::python
