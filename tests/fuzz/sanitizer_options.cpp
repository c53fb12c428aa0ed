/// An index that asks for terabytes has to be answered, not to end the program: what a host sees
/// without the sanitizer is a null pointer.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options() {
    return "allocator_may_return_null=1:max_allocation_size_mb=1024";
}
