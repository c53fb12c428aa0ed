#include "python/core/errors.hpp"

#include "host/system/error.hpp"
#include "host/system/words.hpp"
#include "python/core/arrays.hpp"
#include "python/core/registers.hpp"

namespace saddlefit::host {

template <>
inline constexpr auto
    wordsFor<ErrorKind> = std::to_array<Word<ErrorKind>>({{ErrorKind::input, "InputError"},
                                                          {ErrorKind::refused, "RefusedError"},
                                                          {ErrorKind::damage, "DatabaseError"},
                                                          {ErrorKind::noProgram, "ProgramError"},
                                                          {ErrorKind::program, "ProgramError"},
                                                          {ErrorKind::limit, "LimitError"},
                                                          {ErrorKind::system, "MachineError"}});

template <>
inline constexpr auto wordsFor<Remedy> = std::to_array<Word<Remedy>>(
    {{Remedy::charge, ", charge= sets it"},
     {Remedy::electrons, "; correct charge= or uhf="},
     {Remedy::harmonisedOrders, ", or use orders=\"harmonised\""},
     {Remedy::noRelaxation, ", or use relax=\"none\""},
     {Remedy::otherRelaxation, "; use relax=\"xtb\" or relax=\"none\""},
     {Remedy::makeDatabase, ", or make one with Database(path, create=True)"},
     {Remedy::makeOrCheckDatabase, ", make one with Database(path, create=True), or see with "
                                   "Database.check() what is wrong"},
     {Remedy::listDatabase, ", see list(Database(path))"},
     {Remedy::salvageDatabase,
      "; \"saddlefit db salvage\" copies what can be read into a new file"}});

} // namespace saddlefit::host

namespace saddlefit::python {

py::str messageOf(const std::string &text, host::Remedy remedy) {
    return textOf(text + host::wordOf(remedy));
}

py::object exceptionOf(const host::Error &error) {
    const auto errors = py::module_::import("saddlefit._errors");
    const auto &place = error.place();
    py::object exception =
        errors.attr(host::wordOf(error.kind()))(messageOf(error.what(), error.remedy()));
    if (!place.file.empty()) exception.attr("file") = textOf(place.file);
    if (place.record) exception.attr("record") = *place.record;
    if (!place.title.empty()) exception.attr("title") = textOf(place.title);
    exception.attr("atoms") = py::tuple(py::cast(error.atoms()));
    return exception;
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
