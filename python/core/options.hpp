/// What react() may be told, under the names that the program's options have.
#pragma once

#include "host/answers/answer.hpp"
#include "host/reactions/reaction_files.hpp"

#include <pybind11/pybind11.h>

namespace saddlefit::python {

struct Options {
    host::Start start = host::Start::mean;
    host::Orders orders = host::Orders::harmonised;
    host::PairOptions pairing;
    host::BareSideOptions bareSides;
    host::AnswerOptions answer;
    host::SaddleOptions saddle; ///< in `answer` where a saddle is wanted
};

/// Defaults are the host's. Throws TypeError for a name that no option has, or a value of another
/// type, and ValueError for a value that the option does not take.
Options optionsOf(const pybind11::kwargs &given);

} // namespace saddlefit::python
