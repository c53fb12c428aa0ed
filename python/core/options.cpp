#include "python/core/options.hpp"

#include "host/system/words.hpp"
#include "python/core/arrays.hpp"

#include <cmath>
#include <functional>
#include <map>
#include <optional>
#include <pybind11/stl.h>

namespace saddlefit::python {

namespace {

using Setter = std::function<void(Options &, const py::handle &)>;

[[noreturn]] void refuse(const std::string &complaint) {
    throw py::value_error(complaint);
}

template <class Value> Value wordIn(const py::handle &given) {
    const auto text = given.cast<std::string>();
    if (const auto value = host::valueNamed<Value>(text)) return *value;
    std::string words;
    for (const auto &word : host::wordsFor<Value>)
        words += (words.empty() ? "" : ", ") + std::string(word.text);
    refuse("\"" + text + "\" is none of " + words);
}

template <class Number> Number within(Number least, Number most, const py::handle &given) {
    const auto number = given.cast<Number>();
    if (number >= least && number <= most) return number;
    refuse("must be from " + std::to_string(least) + " to " + std::to_string(most));
}

double seconds(const py::handle &given) {
    const auto value = given.cast<double>();
    if (std::isfinite(value) && value > 0) return value;
    refuse("must be a number of seconds above 0");
}

std::vector<host::Stage> stagesIn(const py::handle &given) {
    std::vector<host::Stage> stages;
    for (const auto &word : py::isinstance<py::str>(given)
                                ? given.attr("split")(",")
                                : py::reinterpret_borrow<py::object>(given))
        stages.push_back(wordIn<host::Stage>(word));
    if (stages.empty()) refuse("no stage is given");
    return stages;
}

std::string methodIn(const std::vector<std::string> &methods, const py::handle &given) {
    const auto method = given.cast<std::string>();
    std::string words;
    for (const auto &known : methods) {
        if (known == method) return method;
        words += (words.empty() ? "" : ", ") + known;
    }
    refuse("\"" + method + "\" is none of " + words);
}

void wantSaddle(Options &options, const py::handle &given) {
    if (!given.is_none()) {
        const auto name = given.cast<std::string>();
        try {
            host::requireMethodName(name);
        } catch (const host::Error &error) {
            refuse(error.what());
        }
        options.saddle.method.name = name;
    }
    options.answer.saddle.reset();
    if (!given.is_none()) options.answer.saddle.emplace();
}

std::optional<int> unpairedIn(const py::handle &given) {
    const auto count = given.cast<std::optional<int>>();
    if (count && *count < 0) refuse("must be 0 or more");
    return count;
}

const std::map<std::string, Setter> &setters() {
    using namespace host;
    using Given = const py::handle &;
    static const std::map<std::string, Setter> all{
        {"start", [](Options &o, Given v) { o.start = wordIn<Start>(v); }},
        {"orders", [](Options &o, Given v) { o.orders = wordIn<Orders>(v); }},
        {"map", [](Options &o, Given v) { o.pairing.by = wordIn<PairBy>(v); }},
        {"map_bonds", [](Options &o, Given v) { o.pairing.limits.bonds = within(1, 24, v); }},
        {"map_time", [](Options &o, Given v) { o.pairing.limits.seconds = seconds(v); }},
        {"stages", [](Options &o, Given v) { o.answer.stages = stagesIn(v); }},
        {"placement", [](Options &o, Given v) { o.answer.placement = wordIn<Placement>(v); }},
        {"rivals", [](Options &o, Given v) { o.answer.rivals = within<std::size_t>(1, 100, v); }},
        {"guesses", [](Options &o, Given v) { o.answer.guesses = within<std::size_t>(1, 3, v); }},
        {"relax", [](Options &o, Given v) { o.answer.relax = wordIn<Relax>(v); }},
        {"xtb_method",
         [](Options &o, Given v) {
             o.answer.xtb.method = methodIn({"gfn2", "gfn1", "gfn0", "gfnff"}, v);
         }},
        {"xtb_time", [](Options &o, Given v) { o.answer.xtb.timeLimit = seconds(v); }},
        {"bonds", [](Options &o, Given v) { o.bareSides.finder = wordIn<BondFinder>(v); }},
        {"saddle", &wantSaddle},
        {"attempts", [](Options &o, Given v) { o.saddle.attempts = within(1, 100, v); }},
        {"steps", [](Options &o, Given v) { o.saddle.steps = within(1, 2, v); }},
        {"gradient_time", [](Options &o, Given v) { o.saddle.method.gradientTime = seconds(v); }},
        {"check", [](Options &o, Given v) { o.saddle.check = wordIn<Descent>(v); }},
        {"charge",
         [](Options &o, Given v) {
             o.bareSides.charge = o.answer.charge = v.cast<std::optional<int>>();
         }},
        {"uhf", [](Options &o, Given v) { o.answer.unpaired = unpairedIn(v); }}};
    return all;
}

void set(Options &options, const std::string &name, const py::handle &value) {
    const auto found = setters().find(name);
    if (found == setters().end()) {
        std::string names;
        for (const auto &[known, setter] : setters())
            names += (names.empty() ? "" : ", ") + known;
        throw py::type_error("there is no option " + name + "; there are " + names);
    }
    try {
        found->second(options, value);
    } catch (const py::cast_error &) {
        throw py::type_error(name + ": a " +
                             std::string(py::str(py::type::of(value).attr("__name__"))) +
                             " is no value for it");
    } catch (const py::value_error &error) {
        throw py::value_error(name + ": " + error.what());
    }
}

} // namespace

Options optionsOf(const py::kwargs &given) {
    Options options;
    for (const auto &[name, value] : given)
        set(options, name.cast<std::string>(), value);
    if (options.answer.saddle) options.answer.saddle = options.saddle;
    return options;
}

} // namespace saddlefit::python
