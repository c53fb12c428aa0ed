#include "host/reactions/transitions.hpp"
#include "host/store/database_file.hpp"
#include "host/store/survey.hpp"
#include "host/system/file_lock.hpp"
#include "host/upkeep/rewriting.hpp"
#include "python/core/arrays.hpp"
#include "python/core/registers.hpp"

#include <optional>
#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using host::Database;
using host::StoredRecord;
using host::Survey;

/// Of a database that is about to be changed; nobody is told of the wait.
host::FileLock locked(const std::string &path,
                      host::IfMissing ifMissing = host::IfMissing::lockNothing) {
    return host::FileLock(path, ifMissing, [] {});
}

std::size_t remove(const std::string &path, const std::vector<std::size_t> &positions) {
    const auto lock = locked(path);
    return host::removeFrom(path, positions);
}

std::pair<std::size_t, std::size_t> compact(const std::string &path) {
    const auto lock = locked(path);
    const auto sizes = host::compact(path);
    return {sizes.before, sizes.after};
}

py::object damageOf(const Survey &survey) {
    if (!survey.damage) return py::none();
    return py::make_tuple(survey.damage->offset, survey.damagedRecord, textOf(survey.damage->what));
}

} // namespace

void registerDatabases(py::module_ &module) {
    py::class_<StoredRecord>(module, "StoredRecord")
        .def_property_readonly("name", [](const StoredRecord &self) { return textOf(self.name); })
        .def_property_readonly(
            "code",
            [](const StoredRecord &self) { return textOf(host::codeInSymbols(self.code.data())); })
        .def_property_readonly("numbers",
                               [](const StoredRecord &self) { return numbersOf(self.atoms); })
        .def_property_readonly("positions",
                               [](const StoredRecord &self) { return positionsOf(self.atoms); })
        .def_property_readonly("bonds",
                               [](const StoredRecord &self) { return bondsOf(self.bonds); })
        .def_property_readonly("steps",
                               [](const StoredRecord &self) { return stepsOf(self.transitions); })
        .def_readonly("bytes", &StoredRecord::bytes);
    py::class_<Database>(module, "DatabaseFile")
        .def(py::init(&host::openDatabase), py::arg("path"))
        .def("__len__", [](const Database &self) { return self.records.size(); })
        .def("read", &host::recordAt, py::arg("position"));
    py::class_<Survey>(module, "Survey")
        .def_property_readonly("records", [](const Survey &self) { return self.records.size(); })
        .def_readonly("free_blocks", &Survey::freeBlocks)
        .def_readonly("free_bytes", &Survey::freeBytes)
        .def_readonly("slack_bytes", &Survey::slackBytes)
        .def_property_readonly("damage", &damageOf);
    using Released = py::call_guard<py::gil_scoped_release>;
    module.def(
        "survey", [](const std::string &path) { return host::surveyOf(*host::openStoreAt(path)); },
        py::arg("path"), Released());
    module.def("remove", &remove, py::arg("path"), py::arg("positions"), Released());
    module.def("compact", &compact, py::arg("path"), Released());
}

} // namespace saddlefit::python
