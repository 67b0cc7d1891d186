# Installation: headers under include/komath, the two libraries, a CMake
# package (find_package(KoMath CONFIG) -> KoMath::KoMath) and komath.pc.
include(CMakePackageConfigHelpers)

# Installed libraries find each other where they lie: libKoMath.so needs
# libKoBase.so, and a program that links only KoMath (with a run path to
# the install's lib/) must not need LD_LIBRARY_PATH for the indirect one.
set_target_properties(KoBase KoMath PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS KoBase KoMath EXPORT KoMathTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/komath
  FILES_MATCHING PATTERN "*.h")
install(EXPORT KoMathTargets NAMESPACE KoMath::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KoMath)

configure_package_config_file(cmake/KoMathConfig.cmake.in
  ${PROJECT_BINARY_DIR}/KoMathConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KoMath)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/KoMathConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/KoMathConfig.cmake ${PROJECT_BINARY_DIR}/KoMathConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/KoMath)

configure_file(cmake/komath.pc.in ${PROJECT_BINARY_DIR}/komath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/komath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
