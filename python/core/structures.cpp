#include "python/core/structures.hpp"

#include "host/structures/aromaticity.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/reader.hpp"
#include "python/core/registers.hpp"

#include <algorithm>
#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using host::Structure;

// Under the names of the members. All of them: a new one does not compile until it is here too.
py::tuple stateOf(const Structure &structure) {
    const auto &[origin, title, atoms, bonds, rings, fields, mapNumbers, radicals, hasIsotopes,
                 namesBonds, charge, unpaired] = structure;
    std::vector<int> charges;
    for (const auto &atom : atoms)
        charges.push_back(atom.charge);
    py::dict texts;
    for (const auto &[name, value] : fields)
        texts[textOf(name)] = textOf(value);
    return py::make_tuple(numbersOf(atoms), coordinatesOf(atoms), integers(charges), bondsOf(bonds),
                          textOf(title), textOf(origin.file), origin.record, textOf(origin.title),
                          rings, texts, mapNumbers, radicals, hasIsotopes, namesBonds, charge,
                          unpaired);
}

Structure structureFrom(const py::tuple &state) {
    Structure structure;
    const auto charges = state[2].cast<std::vector<int>>();
    structure.atoms = atomsOf(state[0].cast<Integers>(), state[1].cast<Reals>());
    for (std::size_t i = 0; i < charges.size(); ++i)
        structure.atoms[i].charge = charges[i];
    structure.bonds = bondsOf(state[3].cast<Integers>(), structure.atoms.size());
    structure.title = bytesOf(state[4]);
    structure.origin = {bytesOf(state[5]), state[6].cast<std::optional<std::size_t>>(),
                        bytesOf(state[7])};
    structure.aromaticRings = state[8].cast<std::vector<host::Ring>>();
    for (const auto &[name, value] : state[9].cast<py::dict>())
        structure.fields[bytesOf(py::str(name))] = bytesOf(py::str(value));
    structure.mapNumbers = state[10].cast<std::vector<int>>();
    structure.radicals = state[11].cast<std::vector<int>>();
    structure.hasIsotopes = state[12].cast<bool>();
    structure.namesBonds = state[13].cast<bool>();
    structure.charge = state[14].cast<std::optional<int>>();
    structure.unpaired = state[15].cast<std::optional<int>>();
    return structure;
}

Integers chargesOf(const Structure &structure) {
    std::vector<int> charges;
    for (const auto &atom : structure.atoms)
        charges.push_back(atom.charge);
    return integers(charges);
}

// 0 for an atom without one.
Integers mapNumbersOf(const Structure &structure) {
    auto numbers = structure.mapNumbers;
    numbers.resize(structure.atoms.size());
    return integers(numbers);
}

py::dict fieldsOf(const Structure &structure) {
    py::dict fields;
    for (const auto &[name, value] : structure.fields)
        fields[textOf(name)] = textOf(value);
    return fields;
}

// Throws ValueError, with the name in front, unless there is one for each atom.
std::vector<int> onePerAtom(const Integers &values, std::size_t atoms, const char *name) {
    if (values.ndim() != 1 || static_cast<std::size_t>(values.shape(0)) != atoms) {
        throw py::value_error(std::string(name) + ": there must be one for each atom");
    }
    return {values.data(), values.data() + values.size()};
}

void setKnown(Structure &structure, const PerAtom &known) {
    const auto count = structure.atoms.size();
    if (known.charges) {
        const auto charges = onePerAtom(*known.charges, count, "charges");
        for (std::size_t i = 0; i < count; ++i)
            structure.atoms[i].charge = charges[i];
    }
    if (!known.mapNumbers) return;
    const auto numbers = onePerAtom(*known.mapNumbers, count, "map_numbers");
    if (std::any_of(numbers.begin(), numbers.end(), [](int number) { return number < 0; })) {
        throw py::value_error("map_numbers: they are positive, or 0 for none");
    }
    if (std::any_of(numbers.begin(), numbers.end(), [](int number) { return number > 0; })) {
        structure.mapNumbers = numbers;
    }
}

} // namespace

Structure structureOf(const Integers &numbers, const Reals &positions,
                      const std::optional<Integers> &bonds, const PerAtom &known,
                      const py::str &title) {
    Structure structure;
    structure.atoms = atomsOf(numbers, positions);
    if (structure.atoms.empty()) throw py::value_error("numbers: a structure has atoms");
    structure.title = bytesOf(title);
    structure.origin.file = "structure";
    structure.origin.title = structure.title;
    setKnown(structure, known);
    if (!bonds) {
        structure.namesBonds = false;
        structure.bonds = host::perceivedCovalentBonds(structure.atoms);
        structure.aromaticRings =
            host::ringsOfAromaticBonds(structure.atoms.size(), structure.bonds);
        return structure;
    }
    structure.bonds = bondsOf(*bonds, structure.atoms.size());
    structure.aromaticRings = host::aromaticRings(structure.atoms, structure.bonds,
                                                  std::vector<int>(structure.atoms.size()));
    return structure;
}

void registerStructures(py::module_ &module) {
    py::class_<Structure>(module, "Structure")
        .def(py::init([](const Integers &numbers, const Reals &positions,
                         const std::optional<Integers> &bonds,
                         const std::optional<Integers> &charges,
                         const std::optional<Integers> &mapNumbers, const py::str &title) {
                 return structureOf(numbers, positions, bonds, {charges, mapNumbers}, title);
             }),
             py::arg("numbers"), py::arg("positions"), py::arg("bonds") = py::none(), py::kw_only(),
             py::arg("charges") = py::none(), py::arg("map_numbers") = py::none(),
             py::arg("title") = "")
        .def("__len__", [](const Structure &self) { return self.atoms.size(); })
        .def_property_readonly("numbers",
                               [](const Structure &self) { return numbersOf(self.atoms); })
        .def_property_readonly("positions",
                               [](const Structure &self) { return coordinatesOf(self.atoms); })
        .def_property_readonly("charges", &chargesOf)
        .def_property_readonly("map_numbers", &mapNumbersOf)
        .def_property_readonly("bonds", [](const Structure &self) { return bondsOf(self.bonds); })
        .def_property_readonly("title", [](const Structure &self) { return textOf(self.title); })
        .def_property_readonly("source",
                               [](const Structure &self) { return textOf(self.origin.text()); })
        .def_property_readonly("fields", &fieldsOf)
        .def(py::pickle(&stateOf, &structureFrom));
    py::class_<host::RecordFile>(module, "RecordFile")
        .def(py::init([](const std::string &path, const std::string &format) {
                 return host::RecordFile(path, host::BondSource::format, format);
             }),
             py::arg("path"), py::arg("format") = "", py::call_guard<py::gil_scoped_release>())
        .def("__len__", &host::RecordFile::count)
        .def("read", [](const host::RecordFile &self, std::size_t index) {
            if (index >= self.count()) throw py::index_error("there is no such record");
            return Structure(host::structureOf(self.read(index)));
        });
}

} // namespace saddlefit::python
