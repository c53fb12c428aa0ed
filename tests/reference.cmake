# The library's own linear algebra beside the reference BLAS and LAPACK. Debian keeps those where
# no alternative, faster and with other last digits, takes their place.
set(folders /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE} /usr/lib)
find_library(REFERENCE_BLAS libblas.so.3
             PATHS ${folders} PATH_SUFFIXES blas NO_DEFAULT_PATH)
find_library(REFERENCE_LAPACK liblapack.so.3
             PATHS ${folders} PATH_SUFFIXES lapack NO_DEFAULT_PATH)

set(by_reference "")
if(REFERENCE_BLAS AND REFERENCE_LAPACK)
    # The superposition once more, to be loaded beside the library: all its calls stay inside.
    get_target_property(sources saddlefit_objects SOURCES)
    list(FILTER sources INCLUDE REGEX "/(superpose|vecmath|molecule)/[^/]*$")
    add_library(saddlefit_by_reference MODULE ${sources})
    target_include_directories(saddlefit_by_reference PRIVATE
        ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
    target_compile_features(saddlefit_by_reference PRIVATE cxx_std_20)
    target_compile_definitions(saddlefit_by_reference PRIVATE SADDLEFIT_USE_BLAS)
    target_compile_options(saddlefit_by_reference PRIVATE -ffp-contract=off)
    target_link_options(saddlefit_by_reference PRIVATE -Wl,-Bsymbolic)
    target_link_libraries(saddlefit_by_reference PRIVATE ${REFERENCE_LAPACK} ${REFERENCE_BLAS})
    set(by_reference $<TARGET_FILE:saddlefit_by_reference>)
    add_dependencies(saddlefit_tests saddlefit_by_reference)
else()
    message(STATUS "No reference BLAS and LAPACK: the linear algebra goes uncompared")
endif()

target_sources(saddlefit_tests PRIVATE small_algebra_test.cpp)
target_link_libraries(saddlefit_tests PRIVATE ${CMAKE_DL_LIBS})
set_source_files_properties(small_algebra_test.cpp PROPERTIES
    COMPILE_DEFINITIONS SADDLEFIT_BY_REFERENCE="${by_reference}")
