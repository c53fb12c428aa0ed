#include "host/answers/best_map.hpp"
#include "host/answers/foreign.hpp"
#include "host/answers/formats.hpp"
#include "host/answers/report_page.hpp"
#include "host/search/stored_reactions.hpp"
#include "python/core/arrays.hpp"
#include "python/core/errors.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/reactions.hpp"
#include "python/core/registers.hpp"

#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using host::StoredReactions;

/// An answer as it is written, and what the formats do not hold in full.
struct WrittenAnswer {
    host::Structure reactant, product; ///< in the reactant's order
    host::Structure finished;          ///< for other programs' formats
    std::vector<host::Position> positions;
    std::vector<host::Warning> warnings;
    std::string json, sdf, xyz;
};

WrittenAnswer written(const host::MappedAnswer &mapped) {
    const auto &[reaction, answer] = mapped;
    return {reaction.reactant,
            reaction.product,
            host::finishedStructure(reaction, answer),
            answer.coordinates,
            answer.warnings,
            host::jsonFormat.write(reaction, answer),
            host::sdfFormat.write(reaction, answer),
            host::xyzFormat.write(reaction, answer)};
}

WrittenAnswer answer(const Sides &sides, const StoredReactions &stored, const Options &options,
                     const py::object &stop) {
    return interruptibly(stop, [&] {
        return written(host::bestAnswer(reactionsOf(sides, options), stored, options.answer));
    });
}

py::tuple warningsOf(const WrittenAnswer &answer) {
    py::list texts;
    for (const auto &warning : answer.warnings)
        texts.append(messageOf(warning.text, warning.remedy));
    return texts;
}

} // namespace

void registerAnswers(py::module_ &module) {
    py::class_<StoredReactions>(module, "StoredReactions")
        .def(py::init<const std::string &>(), py::arg("path"))
        .def_property_readonly("empty", &StoredReactions::empty);
    py::class_<WrittenAnswer>(module, "WrittenAnswer")
        .def_readonly("reactant", &WrittenAnswer::reactant)
        .def_readonly("product", &WrittenAnswer::product)
        .def_readonly("finished", &WrittenAnswer::finished)
        .def_property_readonly(
            "positions", [](const WrittenAnswer &self) { return coordinatesOf(self.positions); })
        .def_property_readonly("warnings", &warningsOf)
        .def_property_readonly("json", [](const WrittenAnswer &self) { return textOf(self.json); })
        .def_property_readonly("sdf", [](const WrittenAnswer &self) { return py::bytes(self.sdf); })
        .def_property_readonly("xyz",
                               [](const WrittenAnswer &self) { return py::bytes(self.xyz); });
    module.def(
        "foreign_record",
        [](const std::string &extension, const host::Structure &structure) {
            return py::bytes(host::foreignRecord(extension, structure));
        },
        py::arg("extension"), py::arg("structure"));
    module.def(
        "report_page",
        [](const py::str &title, const py::str &lines) {
            return textOf(host::reportPage(bytesOf(title), bytesOf(lines)));
        },
        py::arg("title"), py::arg("json_lines"));
    module.def("answer", &answer, py::arg("sides"), py::arg("stored"), py::arg("options"),
               py::arg("stop") = py::none());
}

} // namespace saddlefit::python
