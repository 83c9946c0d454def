# Install rules: the shared libraries (the library, its sibling module and
# the toolkit), the public headers, the long documentation pages, a CMake
# package (find_package(Zefra_TDR_Helpers) then link Zefra::TDR_Helpers or
# Zefra::toolkit) and pkg-config files (zefra_tdr_helpers, zefra_toolkit).
include(CMakePackageConfigHelpers)

install(TARGETS Zefra_TDR_Helpers interp_Sparam zefra_toolkit
  EXPORT Zefra_TDR_HelpersTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/zefra
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES
  ${PROJECT_SOURCE_DIR}/interp_Sparam/include/zefra/interp_sparam.h
  ${ZEFRA_GENERATED_INCLUDE_DIR}/zefra/version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zefra)
# The headers refer to these pages for the long explanations.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/
  DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.md" PATTERN "*.png" PATTERN "*.svg")

set(ZEFRA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/Zefra_TDR_Helpers)
install(EXPORT Zefra_TDR_HelpersTargets
  NAMESPACE Zefra::
  DESTINATION ${ZEFRA_CMAKE_DIR})
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/Zefra_TDR_HelpersConfig.cmake.in
  ${PROJECT_BINARY_DIR}/Zefra_TDR_HelpersConfig.cmake
  INSTALL_DESTINATION ${ZEFRA_CMAKE_DIR})
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/Zefra_TDR_HelpersConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/Zefra_TDR_HelpersConfig.cmake
  ${PROJECT_BINARY_DIR}/Zefra_TDR_HelpersConfigVersion.cmake
  DESTINATION ${ZEFRA_CMAKE_DIR})

# The .pc file locates the prefix relative to itself, so that an install
# made with `cmake --install --prefix DIR` stays usable wherever DIR is.
file(RELATIVE_PATH ZEFRA_PC_TO_PREFIX
  /zefra_root/${CMAKE_INSTALL_LIBDIR}/pkgconfig /zefra_root)
foreach(pc zefra_tdr_helpers zefra_toolkit)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()
