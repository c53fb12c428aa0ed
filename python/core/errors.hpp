/// The host's errors and warnings in the words of Python.
#pragma once

#include "host/system/error.hpp"

#include <pybind11/pybind11.h>
#include <string>

namespace saddlefit::python {

/// With the remedy as options and classes of the module.
pybind11::str messageOf(const std::string &text, host::Remedy remedy);

} // namespace saddlefit::python
