# Run by CPack over the files of the packages before they are packed: what differs from an
# installation with `cmake --install`.

if(CPACK_GENERATOR STREQUAL "DEB")
  set(library_folder lib/${CPACK_KOR_ARCHITECTURE_FOLDER})
else()
  set(library_folder lib64)
endif()
set(agent ${CPACK_TEMPORARY_DIRECTORY}/agent)
set(libraries ${CPACK_TEMPORARY_DIRECTORY}/libraries)

# The libraries where the loader of the distribution looks for them, the program without a path to
# them.
file(GLOB found ${libraries}/usr/lib*/libKor*.so.* ${libraries}/usr/lib/*/libKor*.so.*)
if(NOT found)
  message(FATAL_ERROR "no libraries were installed in ${libraries}")
endif()
file(MAKE_DIRECTORY ${libraries}/usr/${library_folder})
foreach(library IN LISTS found)
  get_filename_component(name ${library} NAME)
  file(RENAME ${library} ${libraries}/usr/${library_folder}/${name})
endforeach()
file(RPATH_REMOVE FILE ${agent}/usr/bin/kor-agent)
file(GLOB modules ${agent}/usr/lib*/kor-agent/*.so ${agent}/usr/lib/*/kor-agent/*.so)
file(GLOB found ${libraries}/usr/${library_folder}/libKor*.so.${CPACK_KOR_BUILT_VERSION})
foreach(binary IN LISTS found modules ITEMS ${agent}/usr/bin/kor-agent)
  execute_process(COMMAND objcopy --remove-section=.comment ${binary} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# Settings where an administrator looks for them.
file(MAKE_DIRECTORY ${agent}/etc)
file(CREATE_LINK /var/lib/kor-agent/config ${agent}/etc/kor-agent SYMBOLIC)

function(compress)
  execute_process(COMMAND gzip -9nf ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(GLOB pages ${agent}/usr/share/man/man*/*)
if(pages)
  compress(${pages})
endif()

if(CPACK_GENERATOR STREQUAL "DEB")
  # Zsh looks for what packages bring in a folder of its own.
  file(RENAME ${agent}/usr/share/zsh/site-functions ${agent}/usr/share/zsh/vendor-completions)

  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  set(version ${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})
  # The interface of the libraries is that of one version: its users are built with them.
  file(WRITE ${CPACK_KOR_SHLIBS} "")
  file(GLOB found RELATIVE ${libraries}/usr/${library_folder}
       ${libraries}/usr/${library_folder}/libKor*.so.*)
  foreach(library IN LISTS found)
    if(library MATCHES "^(.*)\\.so\\.([0-9]+)$")
      file(APPEND ${CPACK_KOR_SHLIBS} "${CMAKE_MATCH_1} ${CMAKE_MATCH_2} libkor (= ${version})\n")
    endif()
  endforeach()

  foreach(package IN ITEMS agent/kor-agent libraries/libkor)
    get_filename_component(name ${package} NAME)
    get_filename_component(component ${package} DIRECTORY)
    set(folder ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/doc/${name})
    configure_file(${CPACK_KOR_SOURCE_DIR}/packaging/debian/copyright ${folder}/copyright COPYONLY)
    configure_file(${CPACK_KOR_SOURCE_DIR}/packaging/debian/changelog.in
                   ${folder}/changelog.Debian @ONLY)
    configure_file(${CPACK_KOR_SOURCE_DIR}/packaging/debian/${name}.lintian-overrides
      ${CPACK_TEMPORARY_DIRECTORY}/${component}/usr/share/lintian/overrides/${name} COPYONLY)
    configure_file(${CPACK_KOR_SOURCE_DIR}/CHANGELOG.md ${folder}/changelog COPYONLY)
    compress(${folder}/changelog.Debian ${folder}/changelog)
  endforeach()
endif()
