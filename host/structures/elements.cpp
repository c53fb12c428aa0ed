#include "host/structures/elements.hpp"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace saddlefit::host {

namespace {

constexpr std::array<std::string_view, 119> symbols{
    "Xx", "H",  "He", "Li", "Be", "B",  "C",  "N",  "O",  "F",  "Ne", "Na", "Mg", "Al", "Si",
    "P",  "S",  "Cl", "Ar", "K",  "Ca", "Sc", "Ti", "V",  "Cr", "Mn", "Fe", "Co", "Ni", "Cu",
    "Zn", "Ga", "Ge", "As", "Se", "Br", "Kr", "Rb", "Sr", "Y",  "Zr", "Nb", "Mo", "Tc", "Ru",
    "Rh", "Pd", "Ag", "Cd", "In", "Sn", "Sb", "Te", "I",  "Xe", "Cs", "Ba", "La", "Ce", "Pr",
    "Nd", "Pm", "Sm", "Eu", "Gd", "Tb", "Dy", "Ho", "Er", "Tm", "Yb", "Lu", "Hf", "Ta", "W",
    "Re", "Os", "Ir", "Pt", "Au", "Hg", "Tl", "Pb", "Bi", "Po", "At", "Rn", "Fr", "Ra", "Ac",
    "Th", "Pa", "U",  "Np", "Pu", "Am", "Cm", "Bk", "Cf", "Es", "Fm", "Md", "No", "Lr", "Rf",
    "Db", "Sg", "Bh", "Hs", "Mt", "Ds", "Rg", "Cn", "Nh", "Fl", "Mc", "Lv", "Ts", "Og"};

} // namespace

std::string elementSymbol(int element) {
    const bool known = element > 0 && element < static_cast<int>(symbols.size());
    return std::string(symbols[known ? static_cast<std::size_t>(element) : 0]);
}

int elementNumber(std::string_view symbol) {
    if (symbol.empty()) return 0;
    if (symbol == "D" || symbol == "T") return 1;
    std::string wanted(symbol);
    const auto isLower = [](unsigned char c) { return std::islower(c) != 0; };
    if (std::all_of(wanted.begin(), wanted.end(), isLower)) {
        wanted[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(wanted[0])));
    }
    const auto found = std::find(symbols.begin() + 1, symbols.end(), wanted);
    return found == symbols.end() ? 0 : static_cast<int>(found - symbols.begin());
}

std::string atomLabel(int element, int index) {
    return elementSymbol(element) + std::to_string(index + 1);
}

} // namespace saddlefit::host
