#pragma once

#include <string>
#include <string_view>

namespace saddlefit::host {

/// "Cl" for 17; "Xx" for what is no element.
std::string elementSymbol(int element);

/// 17 for "Cl" or "cl", 1 for "D" and "T"; 0 for what is no symbol.
int elementNumber(std::string_view symbol);

/// The name of an atom in text: symbol and number from 1, "Cl3" for a chlorine at index 2.
std::string atomLabel(int element, int index);

} // namespace saddlefit::host
