# Programs are installed by vesk_add_program; here the library, its headers, the CMake package and the man pages.
include(CMakePackageConfigHelpers)

install(TARGETS vesk_core vesk_core_archive vesk_analytics vesk_analytics_archive vesk_options EXPORT veskTargets
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY ${CMAKE_SOURCE_DIR}/src/lib/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk
        FILES_MATCHING PATTERN "*.h" PATTERN files EXCLUDE PATTERN page EXCLUDE)
install(EXPORT veskTargets NAMESPACE vesk:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vesk)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/veskConfigVersion.cmake COMPATIBILITY SameMajorVersion)
file(WRITE ${CMAKE_BINARY_DIR}/veskConfig.cmake
     "include(CMakeFindDependencyMacro)\nfind_dependency(MPI COMPONENTS CXX)\n"
     "include(\${CMAKE_CURRENT_LIST_DIR}/veskTargets.cmake)\n")
install(FILES ${CMAKE_BINARY_DIR}/veskConfig.cmake ${CMAKE_BINARY_DIR}/veskConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vesk)
file(GLOB man_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/man/*.1)
install(FILES ${man_pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES ${CMAKE_SOURCE_DIR}/completions/vesk.bash RENAME vesk
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${CMAKE_SOURCE_DIR}/python/vesk.py DESTINATION ${CMAKE_INSTALL_DATADIR}/vesk)
