#include "host/reactions/atom_map.hpp"
#include "host/search/search.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/stereo.hpp"
#include "host/structures/superposition.hpp"
#include "python/core/arrays.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/reactions.hpp"
#include "python/core/registers.hpp"

#include <array>
#include <pybind11/stl.h>

namespace saddlefit::host {

template <>
inline constexpr auto wordsFor<MapOutcome> =
    std::to_array<Word<MapOutcome>>({{MapOutcome::found, "found"},
                                     {MapOutcome::unchanged, "unchanged"},
                                     {MapOutcome::differentAtoms, "different atoms"},
                                     {MapOutcome::tooManyBonds, "too many bonds"},
                                     {MapOutcome::outOfTime, "out of time"}});

} // namespace saddlefit::host

namespace saddlefit::python {

namespace {

using host::Structure;

Integers perceive(const Structure &structure) {
    const py::gil_scoped_release released;
    auto bonds = host::perceivedBonds(structure.atoms);
    const py::gil_scoped_acquire acquired;
    return bondsOf(bonds);
}

Reals superpose(const Reals &positions, const Reals &reference, const std::vector<int> &partners) {
    const auto atomsAt = [](const Reals &points) {
        const std::vector<int> hydrogens(static_cast<std::size_t>(points.shape(0)), 1);
        return atomsOf(integers(hydrogens), points);
    };
    const auto atoms = atomsAt(withColumns(positions, 3, "positions"));
    const auto fixed = atomsAt(withColumns(reference, 3, "reference"));
    if (partners.size() != fixed.size()) {
        throw py::value_error("partners: there must be one for each atom of the reference");
    }
    return coordinatesOf(host::laidOn(fixed, atoms, partners));
}

// ---- maps and transitions -----------------------------------------------------------------------

host::AtomMapSearch mapAtoms(const Structure &reactant, const Structure &product, int bonds,
                             double seconds, const py::object &stop) {
    return interruptibly(stop, [&] { return host::mapAtoms(reactant, product, {bonds, seconds}); });
}

std::vector<host::Reaction> transitions(const Sides &sides, const Options &options,
                                        const py::object &stop) {
    return interruptibly(stop, [&] { return readerOf(sides, options).readChanges(0); });
}

py::str codeOf(const host::Reaction &reaction) {
    const auto &side = reaction.reactant;
    const auto mol = host::hostMolecule(side.atoms, side.bonds, reaction.transitions);
    return textOf(host::codeInSymbols(host::codeOf(mol.get()).data()));
}

Integers changesOf(const host::Reaction &reaction) {
    const auto count = static_cast<py::ssize_t>(reaction.changes.size());
    Integers rows(Shape{count, 4});
    auto cells = rows.mutable_unchecked<2>();
    for (py::ssize_t i = 0; i < count; ++i) {
        const auto &[atoms, before, after] = reaction.changes[static_cast<std::size_t>(i)];
        cells(i, 0) = atoms.first;
        cells(i, 1) = atoms.second;
        cells(i, 2) = before;
        cells(i, 3) = after;
    }
    return rows;
}

void registerMaps(py::module_ &module) {
    py::class_<host::AtomMap>(module, "AtomMap")
        .def_property_readonly(
            "product_atoms", [](const host::AtomMap &self) { return integers(self.productAtoms); })
        .def_readonly("inverted", &host::AtomMap::inverted)
        .def_readonly("order_steps", &host::AtomMap::orderSteps)
        .def_readonly("misfit", &host::AtomMap::misfit);
    py::class_<host::AtomMapSearch>(module, "AtomMapSearch")
        .def_property_readonly(
            "outcome", [](const host::AtomMapSearch &self) { return host::wordOf(self.outcome); })
        .def_readonly("broken", &host::AtomMapSearch::broken)
        .def_readonly("formed", &host::AtomMapSearch::formed)
        .def_readonly("maps", &host::AtomMapSearch::maps);
    py::class_<host::Reaction>(module, "Reaction")
        .def_property_readonly("code", &codeOf)
        .def_property_readonly("changes", &changesOf)
        .def_property_readonly("steps",
                               [](const host::Reaction &self) { return stepsOf(self.transitions); })
        .def_property_readonly(
            "atom_count", [](const host::Reaction &self) { return self.reactant.atoms.size(); })
        .def_property_readonly("product_atoms", [](const host::Reaction &self) {
            return integers(self.productAtoms);
        });
}

} // namespace

void registerPieces(py::module_ &module) {
    registerMaps(module);
    module.def("perceive", &perceive, py::arg("structure"));
    module.def(
        "stereo", [](const Structure &structure) { return host::stereoCodes(structure); },
        py::arg("structure"), py::call_guard<py::gil_scoped_release>());
    module.def("superpose", &superpose, py::arg("positions"), py::arg("reference"),
               py::arg("partners"));
    module.def("map_atoms", &mapAtoms, py::arg("reactant"), py::arg("product"), py::arg("bonds"),
               py::arg("seconds"), py::arg("stop") = py::none());
    module.def("transitions", &transitions, py::arg("sides"), py::arg("options"),
               py::arg("stop") = py::none());
}

} // namespace saddlefit::python
