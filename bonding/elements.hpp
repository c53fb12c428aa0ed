/// Classes of elements, bounded look-ups in their tables, and the marks of tentative bonds.
#pragma once

namespace saddlefit {

inline constexpr int hydrogen = 1;
inline constexpr int carbon = 6;
inline constexpr int nitrogen = 7;
inline constexpr int oxygen = 8;
inline constexpr int fluorine = 9;
inline constexpr int neon = 10;
inline constexpr int phosphorus = 15;
inline constexpr int sulfur = 16;
inline constexpr int chlorine = 17;
inline constexpr int bromine = 35;
inline constexpr int iodine = 53;

/// Marks of tentative bonds, as bondTypeGuess() leaves them for recheckBonds().
inline constexpr int metalBond = -1;
inline constexpr int hydrogenBond = -2;
inline constexpr int metalContact = -3;
inline constexpr int aromaticCandidate = -5;

/// Last elements of the tables.
inline constexpr int lastInBondLength = 103;
inline constexpr int lastInVdwrad = 103;
inline constexpr int lastInCovRad = 109;

/// The row, or column, of an element in defaultBondLengths.
int getPeriodRow(int element);

/// Number of bonds an element prefers to form; 4 above the table, 0 below element 1.
int getPreferedValency(int element);

bool isMetal(int element);
bool isHalogen(int element);

/// Non-metals that bind to metals: C, N, O, P, S and the halogens.
bool isLigand(int element);

/// N, O and S.
bool acceptsHydrogenBonds(int element);

} // namespace saddlefit
