/**
 * @file
 * The reaction: transition-state bonding, the search for a stored structure, constraints, freezing.
 *
 *     transitions --getTransitionCode--> code, the key of the database
 *     transitions --applyTransition----> transition-state bond orders, one distance each
 *     code, atoms --mapDB--------------> stored structure `match` and atom map
 *     match, map  --constrainSub-------> distances for the host to hold
 *     match, map  --freezeSub----------> reaction centre placed on the stored structure
 *
 *     code    0-terminated list of atomic numbers, two by two: 6, 7, 6, 8, 0
 *     map     int[atomCount of the molecule]: partner atom in the match, negative for none
 *
 * startReaction() and finishReaction() do all of it. Between them the process holds the match and
 * the map: one reaction at a time, not locked.
 */
#ifndef SADDLEFIT_REACTION_H
#define SADDLEFIT_REACTION_H

#include "saddlefit/export.h"
#include "saddlefit/molecule.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- a reaction from start to finish -------------------------------------------------------- */

/**
 * Turn a molecule into its transition-state picture and find the stored structure that fits best.
 *
 * Applies the transitions to the bonds (applyTransition()), then, if a database is given, searches
 * it (mapDB()). An exact match gives its coordinates to the molecule. A partial match is held for
 * finishReaction(), and its distances replace the constraints (constrainSub() with flag 1). If
 * nothing fits, or the file cannot be read, the constraints of applyTransition() stand.
 *
 * A match still held from an unfinished reaction is released and replaced by what the search finds
 * (or by nothing); it survives only a start without a database or without transitions.
 *
 * @param mol   Molecule with its transitions. Its bonds, constraints, name and, by the search, its
 *              position in space change.
 * @param path  Database file, or NULL for none.
 * @return      0 if an exact match was found: the coordinates are final and nothing is held;
 *              1 otherwise.
 */
SADDLEFIT_API int startReaction(Molecule *mol, const char *path);

/**
 * Place the reaction centre on the held match and release the match.
 *
 * @param mol  The molecule that was started. Atoms added since have no partner. See freezeSub().
 * @return     1; 0 if no match is held, and then nothing changes.
 */
SADDLEFIT_API int finishReaction(Molecule *mol);

/* ---- searching the database ----------------------------------------------------------------- */

/**
 * Find the stored structure that fits a molecule's reaction best.
 *
 * Candidates are the stored structures with the molecule's transition code. Each is put into a
 * class by its elements outside the reaction centre: "exact" (the same, hydrogens aside), "super"
 * (more of some, fewer of none), "sub" (the same, but atoms do not map completely), "none" (some
 * are lacking, or do not map). It is weighted by how well the neighbours of the centre agree,
 * mapped with mapSub() and superposed on the centre with alignMapMol(). A lower class wins, then a
 * higher weight, then a smaller misfit, then the earlier one in the file. A complete mapping of an
 * exact candidate ends the search at once. Mirror images of stored structures are tried too.
 *
 * Prints on standard output, for each candidate that is looked into,
 *
 *     Starting with %s set, %d score, %d weight
 *     Ending with %s set, %d score, %d weight
 *
 * with class name, score (atoms that could be or were mapped) and weight; after the second, a line
 * with the labels of the mapped atoms, each followed by a blank ("(null)" where there is none).
 *
 * Coordinates that are not finite, or not in their squares: at an atom of the reaction centre, on
 * either side, no misfit comes out and no partial match is found, and the frame may take all atoms
 * of the molecule along (NaN); elsewhere they stay with their atom. An exact match is one all the
 * same, and its coordinates are given as they are stored.
 *
 * Time: made for molecules of some hundred atoms. A candidate with n atoms of the elements of the
 * reaction centre may take n squared steps, seconds from 4000 atoms on, and one whose atoms have
 * hundreds of bonds, more.
 *
 * Elements beyond 254: such a stored structure is passed over in silence, such a molecule finds
 * nothing. A molecule without transitions finds nothing either and is left alone, results included.
 *
 * @param path   Database file.
 * @param mol    Molecule. Moved so that its reaction centre stands in the standard frame; given the
 *               coordinates of an exact match, and its name followed by " (Exact)"; given the name
 *               of a partial match.
 * @param match  Receives the chosen structure, to be released with freeMol(); NULL if there is none
 *               or the match was exact.
 * @param map    Receives the atom map, atomCount ints, to be released with free(); NULL with
 *               *match. Only atoms of the reaction centre have partners.
 * @return       1 if a structure was chosen or copied; 0 if not, or if the host interrupted the
 *               search (setInterrupt()).
 */
SADDLEFIT_API int mapDB(const char *path, Molecule *mol, Molecule **match, int **map);

/**
 * Read the stored structures with a given transition code.
 *
 * @param path  Database file.
 * @param code  0-terminated transition code.
 * @param list  Array of the C heap, or NULL, that receives the structures in file order, 100 more
 *              places whenever it is full. Array and molecules are the caller's; each molecule
 *              bears the name of its record. Untouched if there are none.
 * @return      Number of structures; 0 also if the file cannot be opened.
 */
SADDLEFIT_API int filterDB(const char *path, int *code, Molecule ***list);

/* ---- transitions ---------------------------------------------------------------------------- */

/**
 * Compute the code under which a molecule's reaction is stored.
 *
 * For each bond that falls or rises the pair of its elements, smaller first; the pairs of either
 * kind sorted; the kind with the smaller pairs first. So neither numbering nor order matters, and
 * the reverse reaction has the same code. Halves that name no two atoms are left out. An atom of
 * element 0 ends the code at its pair, and one of -1 is left out of it: reactions of unknown
 * elements are not told apart.
 *
 * @param mol  Molecule.
 * @return     The code, ended by 0, to be released with free(); NULL without transitions.
 *             Example: C-O falls, C-N rises: 6, 7, 6, 8, 0.
 */
SADDLEFIT_API int *getTransitionCode(Molecule *mol);

/**
 * Read a molecule's transitions from a text of atom labels.
 *
 * Four labels make a transition: the atoms of the bond that falls, the atoms of the bond that
 * rises. Blanks and tabs separate; a word that is no atom's label (a dash, say) stands for none.
 *
 * @param mol   Molecule; its transitions are replaced.
 * @param text  Any number of groups of four; NULL is empty.
 * @return      1; 0 if the last group is incomplete: those before it stand.
 */
SADDLEFIT_API int genTransition(Molecule *mol, const char *text);

/**
 * Mark the atoms of the reaction centre.
 *
 * @param mol    Molecule.
 * @param out    atomCount ints, all written.
 * @param mark   Value for atoms that a transition names.
 * @param other  Value for all others.
 */
SADDLEFIT_API void mapTransition(Molecule *mol, int *out, int mark, int other);

/**
 * Give the bonds that the transitions name their transition-state orders and target lengths.
 *
 * A falling bond goes 1 -> 0, 2 -> 5, 3 -> 2, 4 -> 3, 5 -> 1; a rising one none -> 0, 1 -> 5,
 * 2 -> 2, 3 -> 3, 4 -> 4, 5 -> 2, and is made where there is none; any other type becomes 0. Each
 * gets a distance constraint half-way between its estimated lengths before and after the step,
 * atoms in the bond's own order. Transitions act one after another; a half that names no atom, or
 * a falling half whose atoms are not bonded, does nothing.
 *
 * @param mol  Molecule; its constraints are replaced and its index of bonds is rebuilt.
 * @return     1.
 */
SADDLEFIT_API int applyTransition(Molecule *mol);

/* ---- constraints ---------------------------------------------------------------------------- */

/**
 * Find a constraint by its atoms, whatever their order.
 *
 * @param mol      Molecule.
 * @param a,b,c,d  Atoms; -1 for those not used.
 * @return         The first constraint on just these atoms, valid until the list changes; NULL if
 *                 there is none.
 */
SADDLEFIT_API Constraint *getConstraint(Molecule *mol, int a, int b, int c, int d);

/**
 * Constrain a molecule to the local geometry of a structure that it was mapped onto.
 *
 * Around each bond i-j of mapped atoms: the distance i-j (level 1), and with each further mapped
 * neighbour k of i the distance j-k and the angle j-i-k (level 2), and with each further mapped
 * neighbour l of j the distance k-l and the dihedral l-j-i-k (level 4). The first constraint on a
 * set of atoms stays the only one. Values are measured in `ref`, angles in degrees; where its
 * coordinates are not finite they are not either. Around an atom with n mapped neighbours the
 * number of constraints is of the order of n squared: a million for 1000 neighbours.
 *
 * @param mol    Molecule; its constraints are replaced. Its index of bonds is built if absent.
 * @param ref    Structure to measure in; its bonds play no part.
 * @param map    atomCount ints: partner in `ref`. Negative, or no atom of `ref`: no partner.
 * @param flags  Sum of 1 distances, 2 angles, 4 dihedrals.
 * @return       1.
 */
SADDLEFIT_API int constrainSub(Molecule *mol, Molecule *ref, int *map, uint8_t flags);

/** Measure the distance between two atoms, in angstrom. */
SADDLEFIT_API double calcDist(Atom *p, Atom *q);

/** Measure the angle p-q-r at q, in radians from 0 to pi; 0 if p or r is in the place of q. */
SADDLEFIT_API double calcAngle(Atom *p, Atom *q, Atom *r);

/** Measure the dihedral angle p-q-r-s, in radians above -pi and up to pi; 0 if three that follow
    each other are exactly in a row. */
SADDLEFIT_API double calcDihedral(Atom *p, Atom *q, Atom *r, Atom *s);

/**
 * Move atoms so that their centroid is the origin.
 *
 * @param atoms  n atoms.
 * @param n      Their number; with 0 the centroid is not a number.
 * @param out    Receives where the centroid was.
 */
SADDLEFIT_API void calcCenter(Atom *atoms, int n, double out[3]);

/* ---- placing the match ---------------------------------------------------------------------- */

/**
 * Place the mapped atoms of a molecule on a stored structure and freeze them.
 *
 * The map is first grown by one shell of bonds around each mapped atom, which yields angle
 * constraints, in degrees, for the atoms of that shell; they replace the molecule's constraints.
 * Then the structure is superposed on the molecule by the atoms of the given map, and those atoms
 * take its coordinates and are marked frozen. The others keep their places but for the move of the
 * whole molecule into the common frame. Each mapped atom costs a pass over both molecules.
 *
 * @param mol    Molecule.
 * @param match  Stored structure; moved.
 * @param map    atomCount ints: partner in `match`, negative for none; not changed. Without any
 *               partner both stay where they are.
 * @return       1.
 */
SADDLEFIT_API int freezeSub(Molecule *mol, Molecule *match, int *map);

#ifdef __cplusplus
}
#endif

#endif
