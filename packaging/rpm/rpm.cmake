# RPM packages.

set(CPACK_RPM_COMPONENT_INSTALL ON)
set(CPACK_RPM_FILE_NAME RPM-DEFAULT)
set(CPACK_RPM_PACKAGE_RELEASE 1)
set(CPACK_RPM_PACKAGE_LICENSE Apache-2.0)
set(CPACK_RPM_COMPRESSION_TYPE xz)
set(CPACK_RPM_PACKAGE_RELOCATABLE OFF)
# Folders that other packages own.
set(CPACK_RPM_EXCLUDE_FROM_AUTO_FILELIST_ADDITION
    /etc /usr/lib/systemd /usr/lib/systemd/system
    /usr/share/bash-completion /usr/share/bash-completion/completions
    /usr/share/zsh /usr/share/zsh/site-functions
    /usr/share/man /usr/share/man/man1 /usr/share/man/man5 /usr/share/doc)

set(CPACK_RPM_AGENT_PACKAGE_NAME kor-agent)
set(CPACK_RPM_AGENT_PACKAGE_SUMMARY "${summary_agent}")
set(CPACK_RPM_AGENT_PACKAGE_DESCRIPTION "${about_agent}")
set(CPACK_RPM_AGENT_PACKAGE_REQUIRES
    "libkor%{?_isa} = %{version}-%{release}, ${commands}, procps-ng")
set(CPACK_RPM_AGENT_POST_INSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/post)
set(CPACK_RPM_AGENT_PRE_UNINSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/preun)
set(CPACK_RPM_AGENT_POST_UNINSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/postun)

set(CPACK_RPM_LIBRARIES_PACKAGE_NAME libkor)
set(CPACK_RPM_LIBRARIES_PACKAGE_SUMMARY "${summary_libraries}")
set(CPACK_RPM_LIBRARIES_PACKAGE_DESCRIPTION "${about_libraries}")
set(CPACK_RPM_LIBRARIES_POST_INSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/ldconfig)
set(CPACK_RPM_LIBRARIES_POST_UNINSTALL_SCRIPT_FILE ${CMAKE_CURRENT_SOURCE_DIR}/rpm/ldconfig)
