# Whoever uses saddlefit as a dependency gets the library alone; whoever builds it gets everything.
option(SADDLEFIT_BUILD_HOST "Build the host library (needs Open Babel, nlohmann-json)"
       ${PROJECT_IS_TOP_LEVEL})
option(SADDLEFIT_BUILD_CLI "Build the command line (needs the host library and CLI11)"
       ${PROJECT_IS_TOP_LEVEL})
option(SADDLEFIT_BUILD_PYTHON "Build the Python module (needs the host library and pybind11)" OFF)
option(SADDLEFIT_BUILD_TESTS "Build the tests (needs GoogleTest)" ${PROJECT_IS_TOP_LEVEL})
option(SADDLEFIT_BUILD_BENCH "Build the benchmarks (needs Google Benchmark, RDKit, Eigen)" OFF)
option(SADDLEFIT_BUILD_COLLECT "Build the program that computes data/collection (needs CLI11)" OFF)
option(SADDLEFIT_USE_BLAS "Let the system's BLAS and LAPACK do the linear algebra, in its digits" OFF)
option(SADDLEFIT_WERROR "Treat compiler warnings as errors" OFF)
set(SADDLEFIT_SANITIZE "" CACHE STRING "Sanitizers to build with, for example address,undefined")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release)
endif()

# -ffp-contract=off is part of the results: a fused multiply-add rounds once where the written
# expression rounds twice, and two builds would differ in the last digit.
function(saddlefit_developer_flags target)
    target_compile_options(${target} PRIVATE -ffp-contract=off)
    if(PROJECT_IS_TOP_LEVEL)
        target_compile_options(${target} PRIVATE
            -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-qual
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            -Wformat=2 -Wimplicit-fallthrough)
        # g++ 12 sees overlaps in concatenated std::strings that are not there (its bug 105651).
        if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
            target_compile_options(${target} PRIVATE -Wno-restrict)
        endif()
    endif()
    if(SADDLEFIT_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(SADDLEFIT_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${SADDLEFIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    endif()
    saddlefit_link_flags(${target})
endfunction()

function(saddlefit_link_flags target)
    if(SADDLEFIT_SANITIZE)
        target_link_options(${target} PRIVATE -fsanitize=${SADDLEFIT_SANITIZE})
        # For programs in C, too: clang's run-time library lacks otherwise what the library needs.
        set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX)
    endif()
endfunction()
