/**
 * @file
 * Matching: ranking atoms, telling mirror images apart, and mapping one molecule onto another.
 *
 *     atoms        int[n]                     positions in mol->atoms; sorted in place
 *     visitedSets  unsigned char *[n]         one byte per atom of the molecule and branch
 *
 *     map          int[A->atomCount]          partner in B (0 or more), or a map code (negative)
 *     inverse      int[B->atomCount]          partner in A (0 or more), or a map code (negative)
 *     solutions    int *[capacity]            each an int[A->atomCount]
 *     scores       int[capacity]              mapped atoms of each solution; negative on the
 *                                             mirror image of B
 *
 *           map  { 2, -4, 0 }                 atom 0 of A sits on atom 2 of B, atom 2 on atom 0;
 *       inverse  { 2, -4, 0, -4 }             atom 1 of A may still be placed
 *
 * All of it reads the index of bonds (molecule.h), and builds it in a molecule that has none. An
 * index of bonds that is older than the bonds gives the answers of the older bonds.
 *
 * The caller's arrays are neither kept nor released. Nothing here may run in two threads at once.
 */
#ifndef SADDLEFIT_MATCHING_H
#define SADDLEFIT_MATCHING_H

#include "saddlefit/molecule.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- ranking -------------------------------------------------------------------------------- */

/**
 * Rank atoms by what a walk outward from each of them finds, sphere by sphere.
 *
 * Each of the atoms starts a branch, whose key lists the elements met: first the atom itself, once
 * for each unit of the weight of its bond to the root (once if there is no such bond), then the
 * neighbours of the atoms of the sphere before, as often as their bonds weigh. A bond of order n
 * weighs 2n (above 9 as 9), an aromatic one 3, and one of type 0 or less nothing. Each atom is
 * walked past once per branch, yet it is listed wherever it is a neighbour. Within a sphere the
 * neighbours of one atom stand together, heavier elements first; the neighbours of lower-ranked
 * atoms come before those of higher-ranked ones. The first difference decides, then length; a
 * branch that has run out of atoms ranks above one that is still growing and agrees so far.
 *
 * A branch stops growing as soon as it differs from all others that grow. With `visitedSets` each
 * one goes on until it runs out of atoms, which may rank them otherwise.
 *
 * The order is this library's own. It resembles the sequence rule of R. S. Cahn, C. Ingold and
 * V. Prelog, Angew. Chem. Int. Ed. Engl. 5 (1966) 385, and differs from it in the weights, in the
 * order of the parents, and in knowing no isotopes and no duplicate atoms.
 *
 * @param mol            Molecule; its index of bonds is built if it has none.
 * @param atoms          The n atoms; on return from the highest rank to the lowest, equal ranks
 *                       side by side. One that the molecule has not ranks as element 0 without
 *                       bonds.
 * @param n              Number of atoms to rank.
 * @param excluded       Atoms that are listed but not walked past; may be NULL if there are none.
 *                       Those that the molecule has not are passed over.
 * @param excludedCount  Number of excluded atoms.
 * @param root           Atom from which the branches hang, mostly a stereo centre, and which none
 *                       walks past; -1, or any atom that the molecule has not, for none.
 * @param visitedSets    NULL, or n arrays of mol->atomCount bytes, which get 1 for each atom that
 *                       the branch walked past, for the excluded ones and for the root, else 0.
 *                       They stay in the order in which the atoms were given.
 * @return               Number of distinct ranks, 1 to n; n itself, and nothing done, if n is
 *                       below 2; -10, and the atoms as they were, if there is no memory.
 */
SADDLEFIT_API int cmpAtoms(Molecule *mol, int *atoms, int n, const int *excluded, int excludedCount,
                           int root, unsigned char **visitedSets);

/* ---- handedness ----------------------------------------------------------------------------- */

/**
 * Tell on which side of the plane of three atoms a fourth one lies, seen along the normal
 * (b - a) x (c - a).
 *
 * @param centre   Atom in the middle.
 * @param a,b,c,d  Its neighbours.
 * @return         Sign of (d - centre) . ((b - a) x (c - a)): 1, -1, or 0 if it is flat or not a
 *                 number.
 */
SADDLEFIT_API int calcChirality(const Atom *centre, const Atom *a, const Atom *b, const Atom *c,
                                const Atom *d);

/**
 * Describe the configuration of an atom with four neighbours, from where they lie now.
 *
 * @param mol        Molecule; its index of bonds is built if it has none.
 * @param atomIndex  Position of the atom.
 * @return           1 (R) if, seen from the side opposite the lowest-ranked neighbour, the others
 *                   run clockwise from the highest rank down; 2 (S) if they run the other way;
 *                   0 if the atom has not exactly four bonds, if two neighbours rank equal (see
 *                   cmpAtoms()), if all lie in a plane or one of them at no number, or if there is
 *                   no such atom; -10 if there is no memory for the index.
 */
SADDLEFIT_API int getRS(Molecule *mol, int atomIndex);

/**
 * Store the stereo code of every atom in its `rs`, whatever getRS() answers, and set
 * MOL_RS_VALID in the molecule's `flags`. The codes do not follow later changes.
 *
 * Around each atom with four bonds the walk goes on until its neighbours are told apart. Where that
 * is far for many atoms, as in a long alkane, time grows with at least the square of their number.
 *
 * @param mol  Molecule; its index of bonds is built if it has none.
 * @return     1.
 */
SADDLEFIT_API int createRS(Molecule *mol);

/**
 * Reflect a molecule through the plane x = 0 and swap its stored codes 1 and 2.
 *
 * Done twice it leaves every bit as it was: signs are flipped, also that of zero.
 *
 * @param mol  Molecule.
 * @return     1.
 */
SADDLEFIT_API int mirrorRS(Molecule *mol);

/**
 * Tell whether the bonds b-a and c-d of a chain a-b-c-d point to the same side, as two neighbours
 * on the same side of a double bond b-c do.
 *
 * @param a,b,c,d  Atoms of the chain in order.
 * @return         1 if (a - b) . (d - c) is positive, else -1, also if it is 0.
 */
SADDLEFIT_API int calcIsomerism(const Atom *a, const Atom *b, const Atom *c, const Atom *d);

/* ---- mapping -------------------------------------------------------------------------------- */

/**
 * What may become of an atom without a partner.
 *
 * In the map of A: `REQUIRED` atoms must get a partner, `OPTIONAL` ones may. A plain code asks for
 * a partner of the same element, and for bonds of the same type to the atoms mapped before;
 * `ANY` for neither; `HEAVY` only that an atom of element 2 or more gets no partner of element 0
 * or 1. In the inverse map of B a code only says who is offered first: an atom is offered next to
 * the mapped part while its code is the lowest that is left.
 */
enum {
    MAP_REQUIRED = -7,
    MAP_REQUIRED_ANY = -6,
    MAP_REQUIRED_HEAVY = -5,
    MAP_OPTIONAL = -4,
    MAP_OPTIONAL_ANY = -3,
    MAP_OPTIONAL_HEAVY = -2,
    MAP_SKIP = -1 /**< never to get a partner */
};

/**
 * Find the largest one-to-one mappings of a pattern A into a target B.
 *
 * An atom that is placed next to the mapped part obeys the codes, and is bonded to the mapped
 * atoms exactly as its partner is to theirs. Required atoms are placed first, those with the
 * fewest candidates before others; a part of the required atoms that is not bonded to what is
 * mapped starts at any free atom of B that its code lets it have. Optional atoms grow from the
 * mapped part only, and are tried both placed and left out. The search is exponential in their
 * number. It backtracks as in J. J. McGregor, Softw. Pract. Exper. 12 (1982) 23.
 *
 * One case is not one-to-one: when no atom of B holds a code any more, the partner of A's atom 0
 * is on offer again and may serve a second atom. A spare atom of B, even one coded MAP_SKIP that
 * nothing is bonded to, keeps this from happening.
 *
 * Recorded are the mappings with the most atoms, in the order found, the first `capacity` of them.
 * In a recorded mapping an optional atom without partner holds -1 if it was left out, and its code
 * if it had no candidate.
 *
 * @param A               Pattern. Both molecules get their index of bonds if they have none.
 * @param B               Target. Its x and rs are mirrored and mirrored back if asked for.
 * @param map             Codes and given partners of A's atoms; used as working storage, on return
 *                        as before. A partner that B has not counts as one bonded to nothing.
 * @param solutions       `capacity` arrays of A->atomCount integers to write mappings into.
 * @param scores          Gets the number of mapped atoms of each mapping, given partners included,
 *                        negative for those found on B's mirror image; NULL if not wanted.
 * @param count           Gets the number of mappings recorded; not NULL.
 * @param capacity        Number of mappings wanted at most; for 0 or less nothing is searched.
 * @param inverse         Codes and given partners of B's atoms, which must agree with `map`; as
 *                        working storage, on return as before. NULL: all MAP_OPTIONAL.
 * @param checkChirality  Not 0: four-coordinate atoms keep their handedness, as far as at least
 *                        three of their neighbours are mapped and the place of the fourth is
 *                        plain.
 * @param tryMirror       Not 0, and checkChirality too: search B's mirror image as well, for
 *                        mappings at least as large.
 * @return                Number of mapped atoms of the first mapping, without sign; 0 if none was
 *                        recorded, at once if more atoms of an element are MAP_REQUIRED than B
 *                        has, or if one of them has an element below 0 or above 254; -10 if there
 *                        is no memory for an index of bonds or for the search, or if the host
 *                        interrupted it (setInterrupt()).
 *
 * Touches two scratch blocks of staticMalloc(), each of one integer per atom of B.
 */
SADDLEFIT_API int mapSub(Molecule *A, Molecule *B, int *map, int **solutions, int *scores,
                         int *count, int capacity, int *inverse, int checkChirality, int tryMirror);

/**
 * Find the first of the largest mappings of a pattern into a target: mapSub() with room for one.
 *
 * @param A,B             Pattern and target, see mapSub().
 * @param map             Codes and given partners of A's atoms; becomes the mapping found, or
 *                        stays as it was.
 * @param inverse         As in mapSub(); on return as before.
 * @param checkChirality  As in mapSub().
 * @param tryMirror       As in mapSub().
 * @return                Number of mapped atoms, negative on B's mirror image; 0 if nothing was
 *                        found, if there is no memory or if the host interrupted it.
 */
SADDLEFIT_API int mapSingleSub(Molecule *A, Molecule *B, int *map, int *inverse, int checkChirality,
                               int tryMirror);

#ifdef __cplusplus
}
#endif

#endif
