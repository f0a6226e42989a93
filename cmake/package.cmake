# The Debian package: preset `package`, then `cpack`. scripts/package does both.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME tabulon)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "Tabulon maintainers")
set(CPACK_PACKAGE_CONTACT "Tabulon maintainers <maintainers@tabulon.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "reports from the scans of filesystems")
set(CPACK_PACKAGE_DESCRIPTION
  "Tabulon reads the scan of a Windows share or a Unix filesystem, one binary
file with a record for every directory and file, and writes reports: an audit
summary, the files that a query selects, totals by extension and owner, size
and age distributions, duplicates, use of accounts, as text or CSV.
.
The package holds mkdtl as well, which scans local directory trees,
dtlexport, which writes scans as rows for databases, dtldu, which tells the
size of every directory, and dtldiff, which compares two scans. report-page,
which draws a scan as one HTML page, needs python3.")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS python3)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
if("$ENV{DEB_BUILD_OPTIONS}" MATCHES "(^|[ ,])nostrip($|[ ,])")
  set(CPACK_STRIP_FILES OFF)
else()
  set(CPACK_STRIP_FILES ON)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

# What every Debian package holds, and an ordinary installation does without.
set(debian_changelog ${CMAKE_BINARY_DIR}/changelog.Debian.gz)
if(GZIP)
  add_custom_command(OUTPUT ${debian_changelog}
    COMMAND ${GZIP} -9nc ${CMAKE_SOURCE_DIR}/packaging/changelog > ${debian_changelog}
    DEPENDS ${CMAKE_SOURCE_DIR}/packaging/changelog)
  add_custom_target(debian_files ALL DEPENDS ${debian_changelog})
  install(FILES ${debian_changelog} ${CMAKE_SOURCE_DIR}/packaging/copyright
    DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT debian EXCLUDE_FROM_ALL)
  install(FILES ${CMAKE_SOURCE_DIR}/packaging/lintian-overrides
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME tabulon
    COMPONENT debian EXCLUDE_FROM_ALL)
endif()
set(CPACK_INSTALL_CMAKE_PROJECTS
  "${CMAKE_BINARY_DIR};${PROJECT_NAME};ALL;/" "${CMAKE_BINARY_DIR};${PROJECT_NAME};debian;/")

include(CPack)
