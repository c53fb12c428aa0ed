include(CMakePackageConfigHelpers)

install(TARGETS saddlefit_shared saddlefit_static EXPORT saddlefitTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/saddlefit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/saddlefit)
install(EXPORT saddlefitTargets NAMESPACE saddlefit:: DESTINATION ${package_dir})
configure_package_config_file(cmake/saddlefitConfig.cmake.in
    ${PROJECT_BINARY_DIR}/saddlefitConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/saddlefitConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/saddlefitConfig.cmake
              ${PROJECT_BINARY_DIR}/saddlefitConfigVersion.cmake
        DESTINATION ${package_dir})

set(blas_libraries "")
if(SADDLEFIT_USE_BLAS)
    set(blas_libraries "-llapack -lblas ")
endif()
# The copy goes where "cmake --install --prefix" puts it, and is found from there.
file(RELATIVE_PATH prefix_from_pc /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(cmake/saddlefit.pc.in ${PROJECT_BINARY_DIR}/saddlefit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/saddlefit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(SADDLEFIT_BUILD_CLI)
    install(FILES completions/saddlefit
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
    # The build makes them out of the program's help, see cli/CMakeLists.txt.
    install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1
            OPTIONAL FILES_MATCHING PATTERN "*.1")
endif()
