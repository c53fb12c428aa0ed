/**
 * @file
 * Bonds and their lengths: tables of the elements, estimated lengths, and the perception of bonds
 * and bond orders from coordinates.
 *
 *     vdwrad, covRad, eneg, preferedValency    [atomic number]; entry 0 is the unknown element
 *     defaultBondLengths                       [7][7] by period class, row after row, symmetric
 *     bondLength                               lower triangle of a symmetric 103 x 103 matrix over
 *                                              the elements 1 to 103: for z1 >= z2, with i = z1 - 1
 *                                              and j = z2 - 1, entry i * (i + 1) / 2 + j
 *
 * All lengths are in angstrom. The radii, electronegativities and valencies are one set, made for
 * the rules of bondTypeGuess(); covRad, eneg and preferedValency may be changed by the host before
 * it perceives bonds.
 */
#ifndef SADDLEFIT_BONDING_H
#define SADDLEFIT_BONDING_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- tables ------------------------------------------------------------------------------- */

/** Van der Waals radii, elements 0 to 103. */
SADDLEFIT_API extern const double vdwrad[104];

/** Covalent radii, elements 0 to 109; the host may change them. */
SADDLEFIT_API extern double covRad[110];

/** Electronegativities, elements 0 to 109; the host may change them. */
SADDLEFIT_API extern double eneg[110];

/** Numbers of bonds that the elements 0 to 109 prefer to form; the host may change them. */
SADDLEFIT_API extern int preferedValency[110];

/**
 * Lengths of single bonds by the period classes of both elements, for pairs that bondLength does
 * not list. Class 0: elements up to 2; 1: 3 to 10; 2: 11 to 18; 3: 19 to 36; 4: 37 to 54;
 * 5: 55 to 86; 6: 87 and above.
 */
SADDLEFIT_API extern const double defaultBondLengths[49];

/** Lengths of single bonds by pair of elements; 0 where none is tabulated. */
SADDLEFIT_API extern const double bondLength[5356];

/** What a single bond's length is multiplied by for bonds of order 2, 3, 4 and one and a half. */
SADDLEFIT_API extern const double doubleFactor, tripleFactor, quadrupleFactor, aromaticFactor;

/* ---- lengths ------------------------------------------------------------------------------ */

/**
 * Estimate the length of a bond from its two elements and its order.
 *
 * The single bond's length comes from bondLength or, where that has no entry, from
 * defaultBondLengths; types 2, 3, 4 and 5 scale it by their factor, every other type takes it as
 * it is. Coordinates play no part.
 *
 * An element of 0 or below, or an atom that the molecule has not, counts as hydrogen; an element
 * above 103 has no row in bondLength and takes the default of its period class.
 *
 * @param mol   Molecule of the bond; not changed.
 * @param bond  Bond; its atoms and its type are read afresh at each call.
 * @return      Length in angstrom.
 */
SADDLEFIT_API double bondLengthGuess(Molecule *mol, Bond *bond);

/* ---- bonds from coordinates ----------------------------------------------------------------- */

/**
 * Decide from elements and distance whether two atoms are bonded, and how.
 *
 * The single bond's length is the sum of the covalent radii less a correction for polarity,
 * c * |difference of electronegativities|^1.4 (the rule of Schomaker and Stevenson, J. Am. Chem.
 * Soc. 63, 37 (1941), with the exponent of Blom and Haaland, J. Mol. Struct. 128, 21 (1985)).
 * Shorter lengths mean higher orders; a multiple of it bounds what counts as bonded. Hydrogen,
 * oxygen, carbon with carbon or nitrogen, halogens, sulfur pairs and metals have rules of their
 * own.
 *
 * @param mol   Molecule of the bond; not changed.
 * @param bond  The pair of atoms; its type is not read.
 * @param mode  0: orders only; 1: also -5; 2 or more: also -5, -1, -2 and -3.
 * @return      1, 2 or 3: single, double, triple bond;
 *              0: not bonded, also if an element is 0 or below or above 109, or an atom missing;
 *              -1: metal-ligand bond;
 *              -2: hydrogen bond, H to N, O or S within 0.7 of their van der Waals radii;
 *              -3: metal-ligand contact within 0.9 of their van der Waals radii;
 *              -5: C-C or C-N of a length that may be aromatic, for recheckBonds() to judge.
 *              Two atoms in one place, or at coordinates that are not numbers, count as single
 *              bonded.
 */
SADDLEFIT_API int bondTypeGuess(Molecule *mol, Bond *bond, int mode);

/**
 * Settle tentative bonds by their surroundings.
 *
 * The host adds a bond for each pair of atoms near enough and gives it the type that
 * bondTypeGuess() returns in mode 2. Each negative mark is then judged, twice, by angles, hydrogens
 * and neighbouring bonds: it becomes aromatic, a bond of order 1 or 2, a weak contact of type 0, or
 * the bond is removed. So is the direct bond between two atoms, one of them heavier than neon,
 * that share an oxygen. At last double bonds that carbon or oxygen cannot have become single.
 *
 * Places that coincide or are not numbers hinder nothing: what is not seen to be a ring's angle is
 * none. Time grows with the square of the bonds of one atom: 0.1 s for 1000, 1 s for 3000.
 *
 * Marks other than -1, -2, -3 and -5 become their positive value. Positions of bonds change as
 * bonds are removed; the others keep their order and their address.
 *
 * @param mol  Molecule; its index of bonds is rebuilt. Should memory run out, bonds that are not
 *             settled by then keep their marks.
 */
SADDLEFIT_API void recheckBonds(Molecule *mol);

#ifdef __cplusplus
}
#endif

#endif
