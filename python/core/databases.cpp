#include "host/reactions/transitions.hpp"
#include "host/store/database_file.hpp"
#include "host/store/survey.hpp"
#include "host/system/file_lock.hpp"
#include "host/upkeep/intake.hpp"
#include "host/upkeep/rewriting.hpp"
#include "python/core/arrays.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/reactions.hpp"
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

std::string joined(const std::vector<std::string> &phrases) {
    std::string text;
    for (const auto &phrase : phrases)
        text += (text.empty() ? "" : "; ") + phrase;
    return text;
}

/// The position of the new record: the first free block that is large enough may be anywhere.
std::size_t positionOf(const std::string &path, const std::string &name) {
    const auto database = host::openDatabase(path);
    for (std::size_t position = database.records.size(); position-- > 0;)
        if (host::recordAt(database, position).name == name) return position;
    throw host::Error(host::ErrorKind::system, "the new record is gone; another program may have "
                                               "removed it")
        .at({path});
}

std::size_t add(const std::string &path, const Sides &sides, const Options &options, bool force,
                const py::object &stop) {
    return interruptibly(stop, [&] {
        const auto reaction = host::tightest(reactionsOf(sides, options));
        const auto lock = locked(path, host::IfMissing::makeIt);
        host::Intake intake(path, force);
        const auto result = intake.take(reaction);
        if (result.became == host::Intaken::refused) {
            throw host::Error(host::ErrorKind::refused,
                              "not stored: " + joined(result.objections) +
                                  "; correct the record, or store it all the same with force=True")
                .at({path, {}, reaction.geometryTitle});
        }
        intake.commit();
        return positionOf(path, reaction.geometryTitle);
    });
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
    module.def("add", &add, py::arg("path"), py::arg("sides"), py::arg("options"), py::arg("force"),
               py::arg("stop") = py::none());
    module.def("remove", &remove, py::arg("path"), py::arg("positions"), Released());
    module.def("compact", &compact, py::arg("path"), Released());
}

} // namespace saddlefit::python
