// An inline function with external linkage, whose definition the compiler emits as a weak symbol.

inline int sharedWithOtherUnits(int value) {
    return value + 1;
}

int (*weakExample())(int);

int (*weakExample())(int) {
    return &sharedWithOtherUnits;
}
