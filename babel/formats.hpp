#pragma once

#include "babel/link.hpp"

namespace saddlefit::babel {

// What is asked of files. Each sends its reply; what cannot be done is thrown as Failure.

void listFormats(Link &link, const ListFormats &request);
void read(Link &link, const Read &request);
void write(Link &link, const Write &request);

} // namespace saddlefit::babel
