#include "python/core/reactions.hpp"

#include "python/core/arrays.hpp"
#include "python/core/registers.hpp"

#include <pybind11/stl.h>
#include <variant>

namespace saddlefit::python {

namespace py = pybind11;

namespace {

/// A structure, or molecules that are to be placed together.
using Given = std::variant<host::Structure, std::vector<host::Structure>>;

host::GivenSide sideOf(const Given &given) {
    if (const auto *molecules = std::get_if<std::vector<host::Structure>>(&given)) {
        if (molecules->empty()) throw py::value_error("a side has no molecules");
        return {*molecules, host::Placing::together};
    }
    return {{std::get<host::Structure>(given)}};
}

} // namespace

host::ReactionReader readerOf(const Sides &sides, const Options &options) {
    return {sides.source,   sides.geometry,  options.start,
            options.orders, options.pairing, options.bareSides};
}

std::vector<host::Reaction> reactionsOf(const Sides &sides, const Options &options) {
    auto reactions = readerOf(sides, options).read(0);
    for (auto &reaction : reactions) {
        reaction.number = sides.number;
        reaction.title = titleOf(reaction.reactant, sides.number - 1);
    }
    return reactions;
}

void registerReactions(py::module_ &module) {
    py::class_<Options>(module, "Options").def(py::init(&optionsOf));
    py::class_<Sides>(module, "Sides")
        .def(
            py::init([](const Given &reactant, const Given &product,
                        const std::optional<host::Structure> &geometry, std::size_t number) {
                return Sides{host::givenSides(sideOf(reactant), sideOf(product)), geometry, number};
            }),
            py::arg("reactant"), py::arg("product"), py::arg("geometry") = py::none(),
            py::arg("number") = 1)
        .def(py::init([](const py::str &smiles, const std::optional<host::Structure> &geometry,
                         std::size_t number) {
                 return Sides{host::givenSides(host::reactionSmilesIn(bytesOf(smiles))), geometry,
                              number};
             }),
             py::arg("smiles"), py::arg("geometry") = py::none(), py::arg("number") = 1);
}

} // namespace saddlefit::python
