#include "python/core/errors.hpp"

#include "python/core/arrays.hpp"
#include "python/core/registers.hpp"

#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using host::ErrorKind;
using host::Remedy;

const char *classOf(ErrorKind kind) {
    switch (kind) {
    case ErrorKind::input:
        return "InputError";
    case ErrorKind::refused:
        return "RefusedError";
    case ErrorKind::damage:
        return "DatabaseError";
    case ErrorKind::noProgram:
    case ErrorKind::program:
        return "ProgramError";
    case ErrorKind::limit:
        return "LimitError";
    case ErrorKind::system:
        return "MachineError";
    }
    return "Error";
}

const char *wordsOf(Remedy remedy) {
    switch (remedy) {
    case Remedy::none:
        break;
    case Remedy::charge:
        return ", charge= sets it";
    case Remedy::spin:
        return ", uhf= sets it";
    case Remedy::chargeOrSpin:
        return "; give charge=, or uhf=1 if it is a radical";
    case Remedy::bondsOfLibrary:
        return ", or let bonds=\"saddlefit\" find them";
    case Remedy::inputFormat:
        return "; read(path, format=\"xyz\") names it";
    case Remedy::electrons:
        return "; correct charge= or uhf=";
    case Remedy::harmonisedOrders:
        return ", or use orders=\"harmonised\"";
    case Remedy::noRelaxation:
        return ", or use relax=\"none\"";
    case Remedy::otherRelaxation:
        return "; use relax=\"xtb\" or relax=\"none\"";
    case Remedy::makeDatabase:
        return ", or make one with Database(path, create=True)";
    case Remedy::makeOrCheckDatabase:
        return ", make one with Database(path, create=True), or see with \"saddlefit db check\" "
               "what is wrong";
    case Remedy::orderOfAtoms:
        return ", or use map=\"order\"";
    case Remedy::listDatabase:
        return ", see list(database)";
    case Remedy::salvageDatabase:
        return "; \"saddlefit db salvage\" copies what can be read into a new file";
    }
    return "";
}

py::object exceptionOf(const host::Error &error) {
    const auto classes = py::module_::import("saddlefit._errors");
    const auto &place = error.place();
    py::object exception =
        classes.attr(classOf(error.kind()))(messageOf(error.what(), error.remedy()));
    if (!place.file.empty()) exception.attr("file") = textOf(place.file);
    if (place.record) exception.attr("record") = *place.record;
    if (!place.title.empty()) exception.attr("title") = textOf(place.title);
    exception.attr("atoms") = py::tuple(py::cast(error.atoms()));
    return exception;
}

} // namespace

py::str messageOf(const std::string &text, Remedy remedy) {
    return textOf(text + wordsOf(remedy));
}

void registerErrors(py::module_ &) {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const host::Error &error) {
            const auto exception = exceptionOf(error);
            PyErr_SetObject(py::type::of(exception).ptr(), exception.ptr());
        }
    });
}

} // namespace saddlefit::python
