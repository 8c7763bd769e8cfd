# What a build against the installed library needs: find_package(sbxml) with sbxml_embed_documents(), or
# pkg-config.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/sbxml)

install(
  TARGETS sbxml sbxml_headers sbxml_embed
  EXPORT sbxmlTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/sbxml.h include/sbxml_module.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT sbxmlTargets NAMESPACE sbxml:: DESTINATION ${package_dir})

configure_package_config_file(cmake/sbxmlConfig.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/sbxmlConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/sbxmlConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/sbxmlConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/sbxmlConfigVersion.cmake
        cmake/SbxmlEmbedDocuments.cmake cmake/sbxml_embed.h.in
  DESTINATION ${package_dir})

if(WIN32)
  # What other compilers make an import library from, and one archive of all of it (`cpack`).
  install(FILES cmake/sbxml.def DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES README.md LICENSE CHANGELOG.md SECURITY.md DESTINATION .)
  install(DIRECTORY docs DESTINATION . FILES_MATCHING PATTERN "*.md")
  # What is linked in asks for its licence beside the programs. Debian keeps these files; others name their folder.
  set(SBXML_LICENCES /usr/share/doc CACHE PATH "Where <package>/copyright lies on the machine that builds")
  foreach(package libcli11-dev nlohmann-json3-dev mingw-w64-x86-64-dev g++-mingw-w64-x86-64-posix)
    install(FILES ${SBXML_LICENCES}/${package}/copyright DESTINATION licences RENAME ${package}.txt)
  endforeach()
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME sbxml-${PROJECT_VERSION}-windows-x64)
  set(CPACK_STRIP_FILES ON)
  include(CPack)
  return()
endif()

# The prefix is found from where sbxml.pc lies, so that an installed tree can be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig OUTPUT_VARIABLE
                                              prefix_from_pkgconfig)
configure_file(cmake/sbxml.pc.in ${CMAKE_CURRENT_BINARY_DIR}/sbxml.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/sbxml.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
