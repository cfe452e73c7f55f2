# Where `cmake --install` puts things, the package a host's build finds, and the Debian package.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# The plug-in and the runtime share one folder, so the plug-in's RUNPATH $ORIGIN finds the runtime.
set(KAZ_INSTALL_PLUGINDIR ${CMAKE_INSTALL_LIBDIR}/kazAiFilterPlugin)
set(KAZ_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/kazAiFilterPlugin)
set(KAZ_INSTALL_RESOURCESDIR ${KAZ_INSTALL_DATADIR}/resources)
set(KAZ_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/kazAiFilterPlugin)

# Paths relative to the installed binaries and .pc files, so a prefix given to
# `cmake --install --prefix` (or a package moved elsewhere) still finds its parts.
file(RELATIVE_PATH KAZ_BIN_TO_PLUGINDIR /p/${CMAKE_INSTALL_BINDIR} /p/${KAZ_INSTALL_PLUGINDIR})
file(RELATIVE_PATH KAZ_BIN_TO_RESOURCESDIR /p/${CMAKE_INSTALL_BINDIR} /p/${KAZ_INSTALL_RESOURCESDIR})
file(RELATIVE_PATH KAZ_BIN_TO_DATADIR /p/${CMAKE_INSTALL_BINDIR} /p/${KAZ_INSTALL_DATADIR})
file(RELATIVE_PATH KAZ_PC_TO_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p/)
string(REGEX REPLACE "/$" "" KAZ_PC_TO_PREFIX "${KAZ_PC_TO_PREFIX}")
target_compile_definitions(kazfx_lib PRIVATE
  KAZFX_INSTALLED_PLUGIN_DIR="${KAZ_BIN_TO_PLUGINDIR}"
  KAZFX_INSTALLED_RESOURCES_DIR="${KAZ_BIN_TO_RESOURCESDIR}")

install(TARGETS kazAiFilterPlugin quorin_kernel quorin_module_human_segment
  quorin_module_pipeline_face_landmarks_v2 quorin_module_human_landmarks
  LIBRARY DESTINATION ${KAZ_INSTALL_PLUGINDIR} COMPONENT runtime)
install(TARGETS kazfx kazsample RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)

# The public headers, as interface targets a host's build links to.
add_library(kaz_headers INTERFACE)
target_include_directories(kaz_headers INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
# inline constexpr names in the headers; a host loads the plug-in with dlopen.
target_compile_features(kaz_headers INTERFACE cxx_std_17)
target_link_libraries(kaz_headers INTERFACE ${CMAKE_DL_LIBS})
set_target_properties(kaz_headers PROPERTIES EXPORT_NAME headers)
add_library(quorin_headers INTERFACE)
target_include_directories(quorin_headers INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(quorin_headers PROPERTIES EXPORT_NAME runtime_headers)
install(TARGETS kaz_headers quorin_headers EXPORT kazAiFilterPluginTargets)
install(DIRECTORY include/kaz include/quorin DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT runtime)
install(EXPORT kazAiFilterPluginTargets NAMESPACE kazAiFilterPlugin::
  DESTINATION ${KAZ_INSTALL_CMAKEDIR} COMPONENT runtime)
configure_package_config_file(cmake/kazAiFilterPluginConfig.cmake.in
  ${CMAKE_BINARY_DIR}/kazAiFilterPluginConfig.cmake INSTALL_DESTINATION ${KAZ_INSTALL_CMAKEDIR}
  PATH_VARS KAZ_INSTALL_PLUGINDIR KAZ_INSTALL_RESOURCESDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/kazAiFilterPluginConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/kazAiFilterPluginConfig.cmake
  ${CMAKE_BINARY_DIR}/kazAiFilterPluginConfigVersion.cmake
  DESTINATION ${KAZ_INSTALL_CMAKEDIR} COMPONENT runtime)
foreach(pc kazAiFilterPlugin quorin-runtime)
  configure_file(cmake/${pc}.pc.in ${CMAKE_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${CMAKE_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT runtime)
endforeach()

# Descriptions, manifests and the sample sequences the build wrote; the networks are not
# shipped: kazfx-models installs them where the manifests look.
install(DIRECTORY resources/ DESTINATION ${KAZ_INSTALL_RESOURCESDIR} COMPONENT runtime
  PATTERN networks EXCLUDE PATTERN networks.old EXCLUDE)

# The model installer keeps the source tree's layout under the data folder (scripts/,
# tools/modelconv/, resources/), so the same script runs from either.
install(PROGRAMS scripts/models.sh DESTINATION ${KAZ_INSTALL_DATADIR}/scripts COMPONENT runtime)
install(FILES scripts/models.sha256 DESTINATION ${KAZ_INSTALL_DATADIR}/scripts COMPONENT runtime)
install(DIRECTORY tools/modelconv/ DESTINATION ${KAZ_INSTALL_DATADIR}/tools/modelconv
  COMPONENT runtime FILES_MATCHING PATTERN "*.py" PATTERN __pycache__ EXCLUDE)
configure_file(scripts/kazfx-models.in ${CMAKE_BINARY_DIR}/kazfx-models @ONLY)
install(PROGRAMS ${CMAKE_BINARY_DIR}/kazfx-models DESTINATION ${CMAKE_INSTALL_BINDIR}
  COMPONENT runtime)

install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT runtime)

include(${CMAKE_CURRENT_LIST_DIR}/package.cmake)
