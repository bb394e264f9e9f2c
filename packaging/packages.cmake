# The packages: `cmake --build build/release --target package`, or `cpack -G RPM` in build/release.
# kor-agent holds the program and its module, libkor the libraries they stand on.

# The unit names the program's final place, which is not that of this build.
block()
  set(CMAKE_INSTALL_FULL_BINDIR /usr/bin)
  configure_file(kor-agent.service.in packaged/kor-agent.service @ONLY)
endblock()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/packaged/kor-agent.service
        DESTINATION lib/systemd/system COMPONENT agent EXCLUDE_FROM_ALL)
install(FILES kor-agent.ini DESTINATION share/kor-agent COMPONENT agent EXCLUDE_FROM_ALL)

set(CPACK_PACKAGE_NAME kor-agent)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "kor-agent developers")
set(CPACK_PACKAGE_CONTACT "kor-agent developers <maintainers@users.noreply.c-seed-9526b903.example>"
    CACHE STRING "Name and address of who makes the packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Compressing, with all processors.
set(CPACK_THREADS 0)
set(CPACK_COMPONENTS_ALL agent libraries)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/stage.cmake)
# For stage.cmake.
set(CPACK_KOR_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_KOR_BUILT_VERSION ${PROJECT_VERSION})
set(CPACK_KOR_ARCHITECTURE_FOLDER ${CMAKE_LIBRARY_ARCHITECTURE})

# The commands that scanners run. Without one the classes it fills stay empty, so all are required.
set(commands "dmidecode, file, net-tools, pciutils")
set(summary_agent "hardware inventory agent")
set(about_agent "Examines the machine with ordinary commands, writes what it finds as classes,
instances and attributes, rewrites it by the rules of a translation file, and
stores it as XML and as an SQLite database. As a service it sends what changed
to a server or into a folder.")
set(summary_libraries "base libraries of the hardware inventory agent")
set(about_libraries "The framework that kor-agent and its modules stand on: text, files, commands,
settings, logging, and the inventory document.")

find_program(KOR_DPKG_DEB dpkg-deb)
mark_as_advanced(KOR_DPKG_DEB)
if(KOR_DPKG_DEB)
  set(CPACK_GENERATOR DEB)
else()
  set(CPACK_GENERATOR RPM)
endif()
include(debian/debian.cmake)
include(rpm/rpm.cmake)
include(CPack)
