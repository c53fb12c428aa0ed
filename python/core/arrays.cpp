#include "python/core/arrays.hpp"

#include <cmath>

namespace saddlefit::python {

namespace {

constexpr int heaviestElement = 118;

template <class Row> Integers rowsOf(std::size_t count, py::ssize_t columns, Row row) {
    Integers array(Shape{static_cast<py::ssize_t>(count), columns});
    auto cells = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < cells.shape(0); ++i) {
        const auto values = row(static_cast<std::size_t>(i));
        for (py::ssize_t k = 0; k < columns; ++k)
            cells(i, k) = values[static_cast<std::size_t>(k)];
    }
    return array;
}

template <class At> Reals points(std::size_t count, At at) {
    Reals array(Shape{static_cast<py::ssize_t>(count), 3});
    auto cells = array.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < cells.shape(0); ++i) {
        const host::Position &point = at(static_cast<std::size_t>(i));
        cells(i, 0) = point.x;
        cells(i, 1) = point.y;
        cells(i, 2) = point.z;
    }
    return array;
}

} // namespace

py::str textOf(const std::string &bytes) {
    auto *text = PyUnicode_DecodeUTF8(bytes.data(), static_cast<py::ssize_t>(bytes.size()),
                                      "surrogateescape");
    if (text == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::str>(text);
}

std::string bytesOf(const py::str &text) {
    auto *bytes = PyUnicode_AsEncodedString(text.ptr(), "utf-8", "surrogateescape");
    if (bytes == nullptr) throw py::error_already_set();
    return py::reinterpret_steal<py::bytes>(bytes);
}

Integers integers(const std::vector<int> &values) {
    return Integers(static_cast<py::ssize_t>(values.size()), values.data());
}

Reals coordinatesOf(const std::vector<host::StructureAtom> &atoms) {
    return points(
        atoms.size(), [&](std::size_t i) -> const auto & { return atoms[i].position; });
}

Reals coordinatesOf(const std::vector<host::Position> &positions) {
    return points(
        positions.size(), [&](std::size_t i) -> const auto & { return positions[i]; });
}

Integers numbersOf(const std::vector<host::StructureAtom> &atoms) {
    std::vector<int> numbers;
    for (const auto &atom : atoms)
        numbers.push_back(atom.element);
    return integers(numbers);
}

Integers bondsOf(const std::vector<host::StructureBond> &bonds) {
    return rowsOf(bonds.size(), 3, [&](std::size_t i) {
        const auto &[a, b, type] = bonds[i];
        return std::array{a, b, type};
    });
}

Integers stepsOf(std::span<const Transition> transitions) {
    return rowsOf(transitions.size(), 4, [&](std::size_t i) {
        const auto &step = transitions[i];
        return std::array{step.breakA, step.breakB, step.formA, step.formB};
    });
}

std::vector<host::StructureAtom> atomsOf(const Integers &numbers, const Reals &positions) {
    if (numbers.ndim() != 1) throw py::value_error("numbers: the shape must be (n,)");
    const auto points = withColumns(positions, 3, "positions");
    if (points.shape(0) != numbers.shape(0)) {
        throw py::value_error("positions: there must be one for each of the " +
                              std::to_string(numbers.shape(0)) + " atoms");
    }
    const auto number = numbers.unchecked<1>();
    const auto at = points.unchecked<2>();
    std::vector<host::StructureAtom> atoms;
    for (py::ssize_t i = 0; i < number.shape(0); ++i) {
        const bool exists = number(i) >= 1 && number(i) <= heaviestElement;
        if (!exists || !std::isfinite(at(i, 0) + at(i, 1) + at(i, 2))) {
            throw py::value_error("atom " + std::to_string(i) +
                                  " is of no known element, or has no finite coordinates");
        }
        atoms.push_back({number(i), 0, {at(i, 0), at(i, 1), at(i, 2)}});
    }
    return atoms;
}

std::vector<host::StructureBond> bondsOf(const Integers &array, std::size_t atomCount) {
    const auto rows = withColumns(array, 3, "bonds");
    const auto cell = rows.unchecked<2>();
    const auto isAtom = [&](int atom) {
        return atom >= 0 && static_cast<std::size_t>(atom) < atomCount;
    };
    const auto isType = [](int type) {
        return (type >= 1 && type <= 3) || type == host::aromaticType;
    };
    std::vector<host::StructureBond> bonds;
    for (py::ssize_t i = 0; i < cell.shape(0); ++i) {
        const int a = cell(i, 0), b = cell(i, 1), type = cell(i, 2);
        if (!isAtom(a) || !isAtom(b) || a == b || !isType(type)) {
            throw py::value_error("bonds: row " + std::to_string(i) +
                                  " must name two atoms, from 0, and a type: 1, 2, 3, or 5 for an "
                                  "aromatic bond");
        }
        bonds.push_back({a, b, type});
    }
    return bonds;
}

} // namespace saddlefit::python
