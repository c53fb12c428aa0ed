/* The main road through the library: Cl- + C2H5Cl, placed on the stored transition state of its
   little sister Cl- + CH3Cl. Usage: react [DATABASE], a file that is made and removed again. */
#include <math.h>
#include <saddlefit/database.h>
#include <saddlefit/host.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

struct Site {
    int element;
    const char *label;
    double x, y, z; /* angstrom */
};

/* Chloride, carbon and leaving chloride first, in both. */
static const struct Site saddle[] = {
    {17, "Cl1", -2.2097, -0.1032, -0.0350}, {6, "C2", 0.0000, 0.0001, 0.0000},
    {17, "Cl3", 2.2097, 0.1030, 0.0350},    {1, "H4", 0.0437, -0.6458, -0.8500},
    {1, "H5", 0.0036, -0.4129, 0.9854},     {1, "H6", -0.0473, 1.0589, -0.1354}};
static const struct Site reactant[] = {
    {17, "Cl1", -0.7863, 2.6360, 1.0052},  {6, "C2", 0.7617, -0.0699, -0.1004},
    {17, "Cl3", 1.8155, -1.3958, -0.6706}, {6, "C4", -0.6887, -0.4779, -0.0996},
    {1, "H5", 0.9316, 0.7750, -0.7642},    {1, "H6", 1.0970, 0.1903, 0.9012},
    {1, "H7", -0.8653, -1.3203, 0.5669},   {1, "H8", -1.2341, 0.3948, 0.2623},
    {1, "H9", -1.0315, -0.7323, -1.1009}};

/* Bonds are given as pairs of atoms, all single; C2-Cl3 breaks and Cl1-C2 forms. */
static Molecule *build(const struct Site *sites, int atoms, const int (*pairs)[2], int bonds) {
    Molecule *mol = C_createMolecule(atoms, bonds, 0, 1);
    for (int i = 0; mol && i < atoms; ++i)
        C_setAtom(mol, i, sites[i].element, 0, sites[i].label, sites[i].x, sites[i].y, sites[i].z);
    for (int i = 0; mol && i < bonds; ++i)
        C_setBond(mol, i, pairs[i][0], pairs[i][1], 1);
    if (mol) C_setTransition(mol, 0, 1, 2, 0, 1);
    return mol;
}

/* A database of one record. It holds the bonds of the transition state, which a start without a
   database makes, and is found by what changes: C-Cl and C-Cl. */
static int makeDatabase(const char *path) {
    static const int pairs[][2] = {{1, 2}, {1, 3}, {1, 4}, {1, 5}};
    static const int32_t code[] = {6, 17, 6, 17, 0};
    Molecule *mol = build(saddle, 6, pairs, 4);
    char *name = malloc(sizeof "methyl chloride"); /* insertDB takes it over */
    FILE *file = fopen(path, "wb");                /* and wants the file to exist */
    int stored = 0;
    if (file) fclose(file);
    if (mol && name && file && C_startReaction(mol, NULL))
        stored = insertDB(path, strcpy(name, "methyl chloride"), code, mol);
    C_freeMolecule(mol);
    return stored;
}

/* Whether all that this program expects came out; said on standard output as it goes. */
static int react(Molecule *mol, const char *path) {
    const char *name = NULL, *label = NULL;
    int a, b, c, d, frozen, placed = 0;
    double value, parameter, place[3], at[9] = {0};

    int goesOn = C_startReaction(mol, path); /* 0 would be an exact match, already final */
    C_getName(mol, &name);
    printf("%s match: %s\n", goesOn ? "partial" : "exact", name ? name : "none");
    for (int i = 0; C_getConstraint(mol, i, &a, &b, &c, &d, &value, &parameter); ++i)
        printf("hold atoms %d and %d at %.3f angstrom\n", a + 1, b + 1, value);

    /* Here a host would relax the rest of the molecule under these constraints. */

    int finished = C_finishReaction(mol);
    for (int i = 0; C_getAtom(mol, i, &a, &frozen, &label, &place[0], &place[1], &place[2]); ++i) {
        if (!frozen) continue;
        printf("%-4s %8.4f %8.4f %8.4f\n", label, place[0], place[1], place[2]);
        if (i < 3) memcpy(at + 3 * i, place, sizeof place);
        ++placed;
    }
    /* The two C-Cl distances of the stored saddle point are 2.2124 each. */
    double in = sqrt(pow(at[0] - at[3], 2) + pow(at[1] - at[4], 2) + pow(at[2] - at[5], 2));
    double out = sqrt(pow(at[6] - at[3], 2) + pow(at[7] - at[4], 2) + pow(at[8] - at[5], 2));
    return goesOn && finished && placed == 3 && name && !strcmp(name, "methyl chloride") &&
           fabs(in - 2.2124) < 1e-4 && fabs(out - 2.2124) < 1e-4;
}

int main(int argc, char **argv) {
    static const int pairs[][2] = {{1, 3}, {1, 2}, {1, 4}, {1, 5}, {3, 6}, {3, 7}, {3, 8}};
    const char *path = argc > 1 ? argv[1] : "react.db";
    Molecule *mol = build(reactant, 9, pairs, 7);
    int expected = mol && makeDatabase(path) && react(mol, path);
    C_freeMolecule(mol);
    remove(path);
    return expected ? EXIT_SUCCESS : EXIT_FAILURE;
}
