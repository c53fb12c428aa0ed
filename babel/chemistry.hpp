#pragma once

#include "babel/link.hpp"

namespace saddlefit::babel {

// What is asked of molecules. Each sends its reply; what cannot be done is thrown as Failure.

void perceiveBonds(Link &link, const PerceiveBonds &request);
void parseSmiles(Link &link, const ParseSmiles &request);
void writeSmiles(Link &link, const WriteSmiles &request);
void relax(Link &link, const Relax &request);
void match(Link &link, const MatchPattern &request);
void embed(Link &link, const Embed &request);

} // namespace saddlefit::babel
