#pragma once

#include <string>

namespace saddlefit::host {

// "Cl" for 17; "Xx" for what is no element.
std::string elementSymbol(int element);

// The name of an atom in text: symbol and number from 1, "Cl3" for a chlorine at index 2.
std::string atomLabel(int element, int index);

} // namespace saddlefit::host
