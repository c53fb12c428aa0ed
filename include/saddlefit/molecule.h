/**
 * @file
 * The molecule record: atoms, bonds, constraints and transitions, and the index of bonds by atom.
 *
 *     atoms        Atom[atomCount]            by value, positions counted from 0
 *     bonds        Bond *[bondCount]          one block each: a Bond keeps its address
 *     bondlink     BondlinkNode *[slots]      NULL until built; slots as of then
 *     rings        Ring *[ringCount]          one block each, filled by the host
 *     constraints  Constraint[constraintCount]
 *     transitions  Transition[transitionCount]
 *
 * An atom is named by its position in `atoms`; -1 means no atom wherever one is optional.
 * Coordinates are in angstrom, angles of constraints in degrees.
 *
 * A record owns all that it points to. Its blocks come from malloc, calloc or realloc and go back
 * through free, so that a host may fill or take over a block. Records are not locked: use one from
 * one thread at a time.
 *
 * The layout of every record here is part of the binary interface: fields are never reordered,
 * and a new one would change the library's soname.
 */
#ifndef SADDLEFIT_MOLECULE_H
#define SADDLEFIT_MOLECULE_H

#include "saddlefit/export.h"

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* ---- records ------------------------------------------------------------------------------ */

/** One atom, held by value in the molecule's array. */
typedef struct Atom {
    int element;      /**< atomic number; 0 = unknown or dummy */
    int atomAux;      /**< the host's; starts 0 */
    int frozen;       /**< 1 once placed from a stored structure, or as the host set it */
    int rs;           /**< stereo code as of the last createRS(): 0 none, 1 = R, 2 = S */
    uint8_t atomFlag; /**< the host's; starts 0 */
    char *label;      /**< owned text, may be NULL */
    void *atomData;   /**< the host's; an owned block, may be NULL */
    double x, y, z;   /**< position in angstrom */
} Atom;

/** One bond between two atoms, without direction: (a, b) and (b, a) are the same bond. */
typedef struct Bond {
    int atom1;        /**< position of the first atom */
    int atom2;        /**< position of the second atom */
    int bondAux;      /**< the host's; starts 0 */
    int type;         /**< order: 0 none or partial, 1 to 4 single to quadruple, 5 aromatic */
    uint8_t bondFlag; /**< the host's; starts 0 */
    void *bondData;   /**< the host's; an owned block, may be NULL */
} Bond;

/** A ring. The library releases it and reads nothing of it. */
typedef struct Ring {
    int *ringAtoms; /**< owned list of atoms; what follows it in the block is the host's */
} Ring;

/**
 * A target for the geometry: a distance a-b (c = d = -1), an angle a-b-c at b (d = -1), or a
 * dihedral a-b-c-d.
 */
typedef struct Constraint {
    int a, b, c, d;   /**< atoms; -1 for those that are not used */
    double value;     /**< angstrom, or degrees */
    double parameter; /**< the host's second value; 0 in what the library makes */
    uint8_t level;    /**< 1, 2 or 4 from constrainSub(): its reach in bonds; else not defined */
} Constraint;

/** One step of a reaction: a bond whose order falls and a bond whose order rises. */
typedef struct Transition {
    int breakA, breakB; /**< atoms of the falling bond; -1 if there is none */
    int formA, formB;   /**< atoms of the rising bond, which need not exist yet; -1 if none */
} Transition;

/** A link in an atom's list of bonds; owned by the index. */
typedef struct BondlinkNode {
    Bond *bond;                /**< the molecule's own record */
    struct BondlinkNode *next; /**< NULL at the end */
} BondlinkNode;

/**
 * A molecule. Fields that begin with `host` belong to the host program: the library initialises
 * them, releases what they own, and reads nothing of them.
 */
typedef struct Molecule {
    char *name;                              /**< owned text, may be NULL */
    void *hostData1, *hostData2, *hostData3; /**< owned blocks */
    uint8_t flags;                           /**< MOL_RS_VALID */
    void **hostStrings;                      /**< owned array of owned blocks */
    int hostStringCount;
    void **hostItems; /**< owned array of owned blocks */
    int hostItemCount;
    Atom *atoms; /**< moves whenever it grows */
    int atomCount;
    Bond **bonds;
    int bondCount;
    int bondlinkBuilt;       /**< 1 once an index was built; never cleared */
    BondlinkNode **bondlink; /**< bonds by atom; made by createBondlink() only */
    Ring **rings;
    int ringCount;
    void *hostArray1; /**< owned block, as the four below */
    int hostArray1Count;
    void *hostArray2;
    int hostArray2Count;
    void *hostArray3;
    int hostArray3Count;
    void *hostArray4;
    int hostArray4Count;
    Constraint *constraints;
    int constraintCount;
    void *hostArray5;
    int hostArray5Count;
    Transition *transitions;
    int transitionCount;
    double hostReal1; /**< starts 1e38 */
    uint8_t hostFlag;
    int hostInt1, hostInt2, hostInt3; /**< start 0, 100, 0 */
    double hostReal2;                 /**< starts 10 */
    int hostInt4;                     /**< starts 5000 */
    void **hostLists1;                /**< owned array of owned blocks */
    int hostLists1Count;
    void **hostLists2; /**< owned array of owned blocks */
    int hostLists2Count;
} Molecule;

/** Bits of Molecule.flags. */
enum {
    MOL_RS_VALID = 1 /**< createRS() has filled the `rs` of every atom */
};

/* ---- making and releasing molecules --------------------------------------------------------- */

/**
 * Make an empty molecule: counts 0, pointers NULL, host numbers at their starting values.
 *
 * @return  The record, to be released with freeMol(); NULL if there is no memory for it.
 */
SADDLEFIT_API Molecule *createMol(void);

/**
 * Release everything a molecule owns and leave it empty and usable.
 *
 * `flags`, `bondlinkBuilt` and the host's numbers keep their values. Cleaning twice is harmless.
 *
 * @param mol  Molecule to empty; NULL does nothing.
 */
SADDLEFIT_API void cleanMol(Molecule *mol);

/**
 * Release a molecule and everything it owns.
 *
 * @param mol  Molecule to release; NULL does nothing. Not valid afterwards.
 */
SADDLEFIT_API void freeMol(Molecule *mol);

/**
 * Release the rings of a molecule: each ring's atom list, each ring, the array.
 *
 * @param mol  Molecule; `rings` becomes NULL and `ringCount` 0. Without rings nothing happens.
 */
SADDLEFIT_API void freeRings(Molecule *mol);

/* ---- atoms ---------------------------------------------------------------------------------- */

/**
 * Set every field of an atom to 0 or NULL, releasing nothing.
 *
 * @param atom  Atom to initialise.
 */
SADDLEFIT_API void initAtom(Atom *atom);

/**
 * Append an atom.
 *
 * If the index of bonds exists it gets an empty list for the new atom (and for any atom before it
 * that still lacks one); if it does not exist, none is built.
 *
 * @param mol      Molecule; `atoms` moves, so keep no pointer to an Atom across this call.
 * @param x,y,z    Position in angstrom.
 * @param element  Atomic number, 0 for unknown.
 */
SADDLEFIT_API void addAtom(Molecule *mol, double x, double y, double z, int element);

/**
 * Do nothing: atoms are never removed, for maps and transitions name them by position.
 *
 * @param mol    Not looked at.
 * @param index  Not looked at.
 */
SADDLEFIT_API void removeAtom(Molecule *mol, int index);

/**
 * Release an atom's label and its `atomData`.
 *
 * @param atom  Atom; the two fields keep their stale values: initialise the atom before it is
 *              used again.
 */
SADDLEFIT_API void freeAtom(Atom *atom);

/* ---- bonds ---------------------------------------------------------------------------------- */

/**
 * Set every field of a bond to 0 or NULL, releasing nothing.
 *
 * @param bond  Bond to initialise.
 */
SADDLEFIT_API void initBond(Bond *bond);

/**
 * Append a bond.
 *
 * If the index of bonds exists, the bond is put at the end of the lists of its atoms. An atom
 * bonded to itself gets it twice; a bond that names an atom which the molecule has not is left out.
 *
 * @param mol          Molecule.
 * @param atom1,atom2  Positions of the two atoms.
 * @param type         Order code, see Bond.
 */
SADDLEFIT_API void addBond(Molecule *mol, int atom1, int atom2, int type);

/**
 * Remove and release a bond; those behind it move down by one place and keep their order.
 *
 * The index of bonds, if there is one, forgets the bond. Positions of later bonds fall by one:
 * keep none across this call.
 *
 * @param mol    Molecule.
 * @param index  Position of the bond; outside 0 to bondCount - 1 nothing happens.
 */
SADDLEFIT_API void removeBond(Molecule *mol, int index);

/**
 * Release a bond's `bondData`; the Bond itself stays the caller's to release.
 *
 * @param bond  Bond.
 */
SADDLEFIT_API void freeBond(Bond *bond);

/* ---- finding bonds by atom ------------------------------------------------------------------ */

/**
 * Build the index of bonds by atom, in place of any that exists.
 *
 * Each atom's list names its bonds in the order of `bonds`. Left out are bonds of an atom with
 * itself and bonds that name an atom which the molecule has not. addAtom(), addBond() and
 * removeBond() keep the index up to date; C_setAtom() and C_setBond() do not. An atom without a
 * list, because it came after the index, counts as one without bonds.
 *
 * @param mol  Molecule; `bondlinkBuilt` becomes 1.
 * @return     1; -10 if there is no memory, and then `bondlink` is NULL.
 */
SADDLEFIT_API int createBondlink(Molecule *mol);

/**
 * Release the index of bonds; exactly the lists that it has, however the molecule grew since.
 *
 * @param mol  Molecule; `bondlink` becomes NULL, `bondlinkBuilt` stays. Twice is harmless.
 */
SADDLEFIT_API void freeBondlink(Molecule *mol);

/**
 * Find the bond that joins two atoms.
 *
 * @param mol  Molecule; its index is used if there is one, else all bonds are looked through.
 * @param a,b  Positions of the atoms, in either order.
 * @return     The molecule's own record of the first such bond; NULL if there is none. Valid until
 *             the bond is removed.
 */
SADDLEFIT_API Bond *getBond(Molecule *mol, int a, int b);

/**
 * Find the position of the bond that joins two atoms.
 *
 * Looks through all bonds from the first and needs no index; getBond() is faster with one.
 *
 * @param mol  Molecule.
 * @param a,b  Positions of the atoms, in either order.
 * @return     Position in `bonds` of the first such bond; -10 if there is none. Holds until a bond
 *             is removed.
 */
SADDLEFIT_API int getBondNumber(Molecule *mol, int a, int b);

/**
 * Find an atom's heaviest neighbour, leaving one of its bonds aside.
 *
 * @param mol       Molecule with its index of bonds; without one there is no neighbour.
 * @param excluded  Bond not to be followed; NULL follows all.
 * @param atom      Position of the atom.
 * @return          The neighbour with the greatest `element`, of equal ones the first in the
 *                  atom's list; -1 if there is none.
 */
SADDLEFIT_API int getBondAdjAtom(Molecule *mol, Bond *excluded, int atom);

/* ---- scratch blocks ------------------------------------------------------------------------- */

/**
 * Get a scratch block that is reused from call to call until staticFree().
 *
 * Meant for one static pointer per caller: `block = staticMalloc(block, size)`. A block that is
 * large enough comes back as it is, a smaller one grows and keeps its contents, an unknown one
 * (NULL, or one that staticFree() has released) is answered by a new block. The registry is
 * process-wide and not locked.
 *
 * @param block  What the previous call returned, or NULL.
 * @param size   Bytes needed.
 * @return       A block of at least `size` bytes, owned by the registry; NULL if there is no
 *               memory.
 */
SADDLEFIT_API void *staticMalloc(void *block, int size);

/** Release every scratch block. C_freeMolecule() does this too. */
SADDLEFIT_API void staticFree(void);

#ifdef __cplusplus
}
#endif

#endif
