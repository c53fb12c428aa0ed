#pragma once

#include "host/saddle/energy.hpp"

#include <optional>
#include <string>

namespace saddlefit::host {

enum class XtbMethod { gfn2, gfn1, gfnff };

/// "gfn2", "gfn1", "gfnff".
const char *nameOf(XtbMethod method);

/// Nothing for another name.
std::optional<XtbMethod> xtbMethodNamed(const std::string &name);

/// Tight-binding methods and a force field in this process, by the library libxtb (Bannwarth et
/// al., WIREs Comput. Mol. Sci. 11, e1493 (2021)), which is loaded when first asked for and needs
/// no headers. It runs on one thread: its own parallel sections, and the linear algebra under them,
/// cost more than they save for molecules of this size. (The linear algebra's number of threads is
/// one for the whole process: it is set to 1.)
///
/// Throws Error if the library cannot be had or the species is none that it may be given.
std::unique_ptr<EnergySurface> xtbSurface(Species species, XtbMethod method = XtbMethod::gfn2,
                                          const std::string &library = "libxtb.so.6");

} // namespace saddlefit::host
