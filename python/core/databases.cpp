#include "host/reactions/transitions.hpp"
#include "host/store/catalogue.hpp"
#include "host/store/collection_file.hpp"
#include "host/store/survey.hpp"
#include "host/system/file_lock.hpp"
#include "host/upkeep/intake.hpp"
#include "host/upkeep/known_facts.hpp"
#include "host/upkeep/record_filter.hpp"
#include "host/upkeep/rewriting.hpp"
#include "python/core/arrays.hpp"
#include "python/core/interruptible.hpp"
#include "python/core/reactions.hpp"
#include "python/core/registers.hpp"

#include <map>
#include <optional>
#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using host::Catalogue;
using host::CatalogueEntry;
using host::Survey;

/// Of a database that is about to be changed; nobody is told of the wait.
host::FileLock locked(const std::string &path,
                      host::IfMissing ifMissing = host::IfMissing::lockNothing) {
    return host::FileLock(path, ifMissing, [] {});
}

std::string joined(const std::vector<host::Objection> &objections) {
    std::string text;
    for (const auto &objection : objections)
        text += (text.empty() ? "" : "; ") + objection.text;
    return text;
}

/// What a caller says of a record, under the names of the members.
host::SideRecord factsIn(const std::map<std::string, std::string> &given) {
    host::SideRecord facts;
    const std::map<std::string, std::string *> members{
        {"level", &facts.level},   {"program", &facts.program}, {"verified", &facts.verified},
        {"source", &facts.source}, {"licence", &facts.licence}, {"date", &facts.date},
        {"family", &facts.family}};
    for (const auto &[name, value] : given)
        *members.at(name) = value;
    return facts;
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
                const std::map<std::string, std::string> &facts, const py::object &stop) {
    return interruptibly(stop, [&] {
        const auto reaction = host::tightest(reactionsOf(sides, options));
        const auto lock = locked(path, host::IfMissing::makeIt);
        host::Intake intake(path, force);
        const auto result = intake.take(reaction, host::knownFactsOf(reaction, factsIn(facts)));
        intake.commit();
        if (result.became != host::Intaken::refused) {
            return positionOf(path, reaction.geometryTitle);
        }
        throw host::Error(host::ErrorKind::refused,
                          "not stored: " + joined(result.objections) +
                              "; leave it out, or store it all the same with force=True")
            .at({path, {}, reaction.geometryTitle});
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

std::optional<std::string> knownOf(const CatalogueEntry &entry) {
    if (!entry.known) return std::nullopt;
    return host::sideLine(*entry.known);
}

std::vector<std::size_t> find(const Catalogue &catalogue, const host::RecordFilter &filter) {
    std::vector<std::size_t> positions;
    for (std::size_t position = 0; position < catalogue.count(); ++position) {
        host::throwIfInterrupted();
        const auto read = catalogue.read(position);
        const auto *entry = std::get_if<CatalogueEntry>(&read);
        if (entry != nullptr && filter.admits(*entry)) positions.push_back(position);
    }
    return positions;
}

void registerCatalogue(py::module_ &module) {
    using Entry = const CatalogueEntry &;
    py::class_<CatalogueEntry>(module, "StoredRecord")
        .def_property_readonly("name", [](Entry self) { return textOf(self.record.name); })
        .def_property_readonly(
            "code", [](Entry self) { return textOf(host::codeInSymbols(self.record.code.data())); })
        .def_property_readonly("numbers", [](Entry self) { return numbersOf(self.record.atoms); })
        .def_property_readonly("positions",
                               [](Entry self) { return coordinatesOf(self.record.atoms); })
        .def_property_readonly("bonds", [](Entry self) { return bondsOf(self.record.bonds); })
        .def_property_readonly("steps", [](Entry self) { return stepsOf(self.record.transitions); })
        .def_property_readonly("known", &knownOf);
    py::class_<host::RecordFilter>(module, "RecordFilter")
        .def(py::init())
        .def_readwrite("code", &host::RecordFilter::code)
        .def_readwrite("elements", &host::RecordFilter::elements)
        .def_readwrite("name", &host::RecordFilter::name)
        .def_readwrite("level", &host::RecordFilter::level)
        .def_readwrite("family", &host::RecordFilter::family)
        .def_readwrite("smarts", &host::RecordFilter::smarts)
        .def_readwrite("lowest_barrier", &host::RecordFilter::lowestBarrier)
        .def_readwrite("highest_barrier", &host::RecordFilter::highestBarrier);
    py::class_<Catalogue>(module, "DatabaseFile")
        .def(py::init<const std::string &>(), py::arg("path"))
        .def("__len__", &Catalogue::count)
        .def("read", &Catalogue::at, py::arg("position"))
        .def(
            "find",
            [](const Catalogue &self, const host::RecordFilter &filter) {
                return interruptibly(py::none(), [&] { return find(self, filter); });
            },
            py::arg("filter"));
}

} // namespace

void registerDatabases(py::module_ &module) {
    registerCatalogue(module);
    py::class_<Survey>(module, "Survey")
        .def_property_readonly("records", [](const Survey &self) { return self.records.size(); })
        .def_readonly("free_blocks", &Survey::freeBlocks)
        .def_readonly("free_bytes", &Survey::freeBytes)
        .def_readonly("slack_bytes", &Survey::slackBytes)
        .def_property_readonly("damage", &damageOf);
    module.def("collection_file", [] { return py::bytes(host::collectionFile()); });
    using Released = py::call_guard<py::gil_scoped_release>;
    module.def(
        "survey", [](const std::string &path) { return host::surveyOf(*host::openStoreAt(path)); },
        py::arg("path"), Released());
    module.def("add", &add, py::arg("path"), py::arg("sides"), py::arg("options"), py::arg("force"),
               py::arg("facts"), py::arg("stop") = py::none());
    module.def("remove", &remove, py::arg("path"), py::arg("positions"), Released());
    module.def("compact", &compact, py::arg("path"), Released());
}

} // namespace saddlefit::python
