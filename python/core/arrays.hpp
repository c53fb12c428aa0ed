/// Numbers and text between Python and the host.
#pragma once

#include "saddlefit/molecule.h"

#include "host/structures/structure.hpp"

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <span>
#include <string>
#include <vector>

namespace saddlefit::python {

namespace py = pybind11;

using Shape = std::vector<py::ssize_t>;
using Integers = py::array_t<int, py::array::c_style | py::array::forcecast>;
using Reals = py::array_t<double, py::array::c_style | py::array::forcecast>;

/// Bytes that are no UTF-8, as in titles and paths, come and go as lone surrogates.
py::str textOf(const std::string &bytes);
std::string bytesOf(const py::str &text);

/// An array of so many columns. Throws ValueError, with the name in front, for any other shape.
template <class Array>
Array withColumns(const Array &array, py::ssize_t columns, const char *name) {
    if (array.ndim() == 2 && array.shape(1) == columns) return array;
    if (array.size() == 0) return Array(Shape{0, columns});
    throw py::value_error(std::string(name) + ": the shape must be (n, " + std::to_string(columns) +
                          ")");
}

Integers integers(const std::vector<int> &values);

/// (n, 3), angstrom.
Reals coordinatesOf(const std::vector<host::StructureAtom> &atoms);
Reals coordinatesOf(const std::vector<host::Position> &positions);

/// (n,), atomic numbers.
Integers numbersOf(const std::vector<host::StructureAtom> &atoms);

/// (m, 3): two atoms and a type.
Integers bondsOf(const std::vector<host::StructureBond> &bonds);

/// (k, 4): the bond that falls and the one that rises; -1 for none.
Integers stepsOf(std::span<const Transition> transitions);

/// Throws ValueError unless numbers and coordinates are those of atoms.
std::vector<host::StructureAtom> atomsOf(const Integers &numbers, const Reals &positions);

/// Throws ValueError for a type that is none of a bond, and for atoms that there are not.
std::vector<host::StructureBond> bondsOf(const Integers &rows, std::size_t atomCount);

} // namespace saddlefit::python
