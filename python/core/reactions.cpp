#include "python/core/reactions.hpp"

#include "python/core/registers.hpp"

#include <pybind11/stl.h>

namespace saddlefit::python {

namespace py = pybind11;

host::ReactionReader readerOf(const Sides &sides, const Options &options) {
    return {sides.reactant, sides.product,   sides.geometry,   options.start,
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
        .def(py::init([](const host::Structure &reactant, const host::Structure &product,
                         const std::optional<host::Structure> &geometry, std::size_t number) {
                 return Sides{reactant, product, geometry, number};
             }),
             py::arg("reactant"), py::arg("product"), py::arg("geometry") = py::none(),
             py::arg("number") = 1);
}

} // namespace saddlefit::python
