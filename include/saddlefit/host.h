/**
 * @file
 * The flat interface for host programs: build a molecule, run a reaction on it, read it back.
 *
 * Everything passes as plain integers, doubles, text and one opaque pointer, so that a program in
 * any language can call it. The usual order of calls:
 *
 *     C_createMolecule, C_setName, C_setAtom, C_setBond, C_setTransition
 *     C_startReaction    bonds take their transition-state orders; constraints are set
 *     C_getBond, C_getConstraint, C_setAtom      the host works on the geometry
 *     C_finishReaction   the reaction centre is placed and frozen
 *     C_getAtom, C_getConstraint, C_getRS, C_freeMolecule
 *
 * Positions count from 0. A setter whose position lies at or beyond the count grows the array to
 * cover it; what is new is zero until it is set.
 *
 * Every call answers 1 for success and 0 for failure unless said otherwise. A null molecule, a
 * negative position or count, or one that there is no memory for, fails and changes nothing.
 *
 * Text passed in is copied. Text passed out belongs to the molecule: neither change nor release
 * it; it is valid until the molecule changes or is freed. Output pointers that are NULL are passed
 * over.
 *
 * Numbers are taken as they are: elements that are none, coordinates that are not finite, bonds and
 * transitions that name atoms which the molecule has not. The functions of the other headers say
 * what becomes of them; none of them leaves the arrays.
 *
 * The process runs one reaction at a time: see saddlefit/reaction.h. Only C_startReaction()
 * prints, progress lines on standard output.
 */
#ifndef SADDLEFIT_HOST_H
#define SADDLEFIT_HOST_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- making and releasing ------------------------------------------------------------------- */

/**
 * Make a molecule with room for the host to fill.
 *
 * Everything is zero until it is set; a transition that is not set names atom 0 four times.
 *
 * @param atomCount        Number of atoms.
 * @param bondCount        Number of bonds.
 * @param constraintCount  Number of constraints.
 * @param transitionCount  Number of transitions.
 * @return                 The molecule, to be released with C_freeMolecule(); NULL if a count is
 *                         negative or there is no memory.
 */
SADDLEFIT_API Molecule *C_createMolecule(int atomCount, int bondCount, int constraintCount,
                                         int transitionCount);

/**
 * Release a molecule, and the scratch blocks of the process.
 *
 * A match that C_startReaction() holds stays held.
 *
 * @param mol  Molecule; NULL releases the scratch blocks only.
 */
SADDLEFIT_API void C_freeMolecule(Molecule *mol);

/* ---- filling and reading -------------------------------------------------------------------- */

/**
 * Name the molecule.
 *
 * @param mol   Molecule.
 * @param name  Text, copied; NULL takes the name away.
 * @return      1; 0 for a null molecule or if there is no memory.
 */
SADDLEFIT_API int C_setName(Molecule *mol, const char *name);

/**
 * Read the molecule's name.
 *
 * @param mol   Molecule.
 * @param name  Receives the molecule's own text, or NULL if it has none.
 * @return      1; 0 for a null molecule.
 */
SADDLEFIT_API int C_getName(Molecule *mol, const char **name);

/**
 * Set an atom.
 *
 * The index of bonds does not grow along: it is rebuilt by the next start of a reaction.
 *
 * @param mol      Molecule.
 * @param index    Position of the atom.
 * @param element  Atomic number, 0 for unknown.
 * @param frozen   Whether its position is fixed; the host's to interpret.
 * @param label    Text, copied; NULL for none.
 * @param x,y,z    Position in angstrom.
 * @return         1; 0 if it failed.
 */
SADDLEFIT_API int C_setAtom(Molecule *mol, int index, int element, int frozen, const char *label,
                            double x, double y, double z);

/**
 * Read an atom.
 *
 * @param mol      Molecule.
 * @param index    Position of the atom.
 * @param element  Receives the atomic number.
 * @param frozen   Receives 1 for an atom placed from a stored structure, else what was set.
 * @param label    Receives the molecule's own text, or NULL if there is none.
 * @param x,y,z    Receive the position in angstrom.
 * @return         1; 0, and nothing written, if there is no such atom.
 */
SADDLEFIT_API int C_getAtom(Molecule *mol, int index, int *element, int *frozen, const char **label,
                            double *x, double *y, double *z);

/**
 * Set a bond.
 *
 * The index of bonds is not touched: it is rebuilt by the next start of a reaction.
 *
 * @param mol          Molecule.
 * @param index        Position of the bond. Missing ones before it are made, at most 65,535 with
 * it, which is what a record of a database holds.
 * @param atom1,atom2  Positions of its atoms.
 * @param type         Order: 0 none or partial, 1 to 4 single to quadruple, 5 aromatic.
 * @return             1; 0 if it failed: the molecule is as it was.
 */
SADDLEFIT_API int C_setBond(Molecule *mol, int index, int atom1, int atom2, int type);

/**
 * Read a bond.
 *
 * @param mol          Molecule.
 * @param index        Position of the bond.
 * @param atom1,atom2  Receive the positions of its atoms.
 * @param type         Receives its order.
 * @return             1; 0, and nothing written, if there is no such bond.
 */
SADDLEFIT_API int C_getBond(Molecule *mol, int index, int *atom1, int *atom2, int *type);

/**
 * Set a constraint.
 *
 * For the host's own use: starting a reaction replaces the whole list.
 *
 * @param mol        Molecule.
 * @param index      Position of the constraint.
 * @param a,b,c,d    Atoms; -1 for those that are not used.
 * @param value      Angstrom for a distance (a, b), degrees for an angle (a, b, c) or a dihedral.
 * @param parameter  The host's second value.
 * @return           1; 0 if it failed.
 */
SADDLEFIT_API int C_setConstraint(Molecule *mol, int index, int a, int b, int c, int d,
                                  double value, double parameter);

/**
 * Read a constraint.
 *
 * @param mol        Molecule.
 * @param index      Position of the constraint.
 * @param a,b,c,d    Receive the atoms; -1 for those that are not used.
 * @param value      Receives angstrom or degrees.
 * @param parameter  Receives the second value; 0 in the library's constraints.
 * @return           1; 0, and nothing written, if there is no such constraint.
 */
SADDLEFIT_API int C_getConstraint(Molecule *mol, int index, int *a, int *b, int *c, int *d,
                                  double *value, double *parameter);

/**
 * Set a transition: what one step of the reaction does to bonds.
 *
 * @param mol            Molecule.
 * @param index          Position of the transition.
 * @param breakA,breakB  Atoms whose bond's order falls; -1 for none.
 * @param formA,formB    Atoms whose bond's order rises, bonded yet or not; -1 for none.
 * @return               1; 0 if it failed.
 */
SADDLEFIT_API int C_setTransition(Molecule *mol, int index, int breakA, int breakB, int formA,
                                  int formB);

/**
 * Read a transition.
 *
 * @param mol            Molecule.
 * @param index          Position of the transition.
 * @param breakA,breakB  Receive the atoms of the falling bond, -1 for none.
 * @param formA,formB    Receive the atoms of the rising bond, -1 for none.
 * @return               1; 0, and nothing written, if there is no such transition.
 */
SADDLEFIT_API int C_getTransition(Molecule *mol, int index, int *breakA, int *breakB, int *formA,
                                  int *formB);

/* ---- the reaction --------------------------------------------------------------------------- */

/**
 * Start a reaction: see startReaction().
 *
 * @param mol   Molecule with its atoms, bonds and transitions set.
 * @param path  Reaction database; NULL sets transition-state bond orders and constraints only.
 * @return      0 if an exact match was found and the coordinates are final, or for a null molecule;
 *              1 otherwise.
 */
SADDLEFIT_API int C_startReaction(Molecule *mol, const char *path);

/**
 * Finish the reaction: see finishReaction().
 *
 * @param mol  The molecule that was started.
 * @return     1 if a held match was placed; 0 if none was held, or for a null molecule.
 */
SADDLEFIT_API int C_finishReaction(Molecule *mol);

/**
 * Read the stereo codes of all atoms from the present coordinates.
 *
 * @param mol  Molecule.
 * @param rs   Array of atomCount ints: 0 no stereo centre, 1 = R, 2 = S; see getRS().
 * @return     1, also without atoms; 0 if the index of bonds cannot be built: then -10 stands at
 *             the first atom concerned and what follows is untouched.
 */
SADDLEFIT_API int C_getRS(Molecule *mol, int *rs);

#ifdef __cplusplus
}
#endif

#endif
