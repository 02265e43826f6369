// What the AVX2 unit must never do: a function that other units share, such as a container's, leaves a weak copy of
// itself in the object.
template <class Value>
__attribute__((noinline)) Value sharedSum(Value a, Value b) {
    return a + b;
}

int useOfSharedSum(int a, int b) {
    return sharedSum(a, b);
}
