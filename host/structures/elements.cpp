#include "host/structures/elements.hpp"

#include <openbabel/elements.h>

namespace saddlefit::host {

std::string elementSymbol(int element) {
    if (element <= 0) return "Xx";
    const std::string symbol = OpenBabel::OBElements::GetSymbol(static_cast<unsigned int>(element));
    return symbol.empty() ? "Xx" : symbol;
}

std::string atomLabel(int element, int index) {
    return elementSymbol(element) + std::to_string(index + 1);
}

} // namespace saddlefit::host
