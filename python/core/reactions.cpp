#include "python/core/reactions.hpp"

#include "host/search/search.hpp"
#include "host/structures/perception.hpp"
#include "python/core/arrays.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/registers.hpp"

#include <pybind11/stl.h>

namespace saddlefit::python {

std::vector<host::Reaction> reactionsOf(const Sides &sides, const Options &options) {
    auto reactions =
        host::changesBetween({sides.reactant, sides.product, sides.number}, options.reaction);
    const auto start = sides.geometry ? host::Start::file : options.reaction.start;
    host::complete(reactions, start, sides.geometry.value_or(host::Structure{}));
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
