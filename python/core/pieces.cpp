#include "saddlefit/search.h"
#include "saddlefit/superpose.h"

#include "host/reactions/atom_map.hpp"
#include "host/search/search.hpp"
#include "host/structures/host_molecule.hpp"
#include "host/structures/perception.hpp"
#include "host/structures/stereo.hpp"
#include "python/core/arrays.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/reactions.hpp"
#include "python/core/registers.hpp"

#include <array>
#include <new>
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
using Matrix = std::array<double, 16>; // column-major

Integers perceive(const Structure &structure) {
    const py::gil_scoped_release released;
    auto bonds = host::perceivedBonds(structure.atoms);
    const py::gil_scoped_acquire acquired;
    return bondsOf(bonds);
}

// ---- superposition ------------------------------------------------------------------------------

host::Position moved(const Matrix &m, const host::Position &p) {
    return {m[0] * p.x + m[4] * p.y + m[8] * p.z + m[12],
            m[1] * p.x + m[5] * p.y + m[9] * p.z + m[13],
            m[2] * p.x + m[6] * p.y + m[10] * p.z + m[14]};
}

host::Position movedBack(const Matrix &m, const host::Position &p) {
    const double x = p.x - m[12], y = p.y - m[13], z = p.z - m[14];
    return {m[0] * x + m[1] * y + m[2] * z, m[4] * x + m[5] * y + m[6] * z,
            m[8] * x + m[9] * y + m[10] * z};
}

/// The library's superposition, in a searcher's state.
struct Superposition {
    Molecule *reference, *molecule;
    const std::vector<int> &partners;
    Matrix toFrame{}, ontoFrame{};
    double misfit = 0.0;

    static int find(void *context) {
        auto &self = *static_cast<Superposition *>(context);
        self.misfit = alignMapMols(self.reference, self.molecule, self.partners.data(),
                                   self.toFrame.data(), self.ontoFrame.data());
        return 1;
    }
};

py::tuple superpose(const Reals &positions, const Reals &reference,
                    const std::vector<int> &partners) {
    const auto atomsAt = [](const Reals &points) {
        return atomsOf(integers(std::vector<int>(static_cast<std::size_t>(points.shape(0)), 1)),
                       points);
    };
    const auto atoms = atomsAt(withColumns(positions, 3, "positions"));
    const auto others = atomsAt(withColumns(reference, 3, "reference"));
    if (partners.size() != others.size()) {
        throw py::value_error("partners: there must be one for each atom of the reference");
    }
    std::vector<host::Position> placed;
    const auto molecule = host::hostMolecule(atoms), fixed = host::hostMolecule(others);
    Superposition task{fixed.get(), molecule.get(), partners};
    withSearcher(host::newSearcher().get(), &Superposition::find, &task);
    for (const auto &atom : atoms)
        placed.push_back(movedBack(task.toFrame, moved(task.ontoFrame, atom.position)));
    return py::make_tuple(positionsOf(placed), task.misfit);
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
    const auto mol = host::startMolecule(reaction);
    return textOf(host::codeInSymbols(host::codeOf(mol.get()).data()));
}

Integers changesOf(const host::Reaction &reaction) {
    const auto count = static_cast<py::ssize_t>(reaction.changes.size());
    Integers rows({count, py::ssize_t{4}});
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
