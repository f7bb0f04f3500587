# What is installed, and the Debian package of it: build/release/zovagent_VERSION_ARCHITECTURE.deb by
# `cmake --build --preset release --target package`. docs/packaging.md says what the package does to its host.

set(ZOV_PACKAGE_MAINTAINER "the authors of zovagent <zovagent@packages.debian.org>" CACHE STRING
  "Who is named as maintainer of the package")
set(packaging ${PROJECT_SOURCE_DIR}/packaging)

install(TARGETS zovagent DESTINATION sbin COMPONENT agent)
install(TARGETS zovscripts DESTINATION libexec/zovagent COMPONENT agent)
set(man_pages ${packaging}/zovagent.8)
set(generated ${CMAKE_CURRENT_BINARY_DIR}/packaging)
file(MAKE_DIRECTORY ${generated})
set(made)
if(TARGET zovctl)
  install(TARGETS zovctl DESTINATION bin COMPONENT agent)
  list(APPEND man_pages ${packaging}/zovctl.1)
  foreach(shell bash zsh)
    add_custom_command(OUTPUT ${generated}/zovctl.${shell} DEPENDS zovctl VERBATIM
      COMMAND zovctl completion ${shell} > ${generated}/zovctl.${shell})
    list(APPEND made ${generated}/zovctl.${shell})
  endforeach()
  install(FILES ${generated}/zovctl.bash DESTINATION share/bash-completion/completions RENAME zovctl COMPONENT agent)
  install(FILES ${generated}/zovctl.zsh DESTINATION share/zsh/vendor-completions RENAME _zovctl COMPONENT agent)
endif()

install(FILES ${packaging}/zovagent.service ${packaging}/zovagent-scripts.socket
  ${packaging}/zovagent-scripts@.service DESTINATION /lib/systemd/system COMPONENT agent)
install(FILES ${packaging}/zovagent.cfg DESTINATION /etc/zovagent COMPONENT agent)
install(FILES ${packaging}/environment DESTINATION /etc/zovagent COMPONENT agent
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ)
install(DIRECTORY ${packaging}/examples DESTINATION share/doc/zovagent COMPONENT agent USE_SOURCE_PERMISSIONS)
install(FILES ${packaging}/debian/copyright DESTINATION share/doc/zovagent COMPONENT agent)
install(FILES ${packaging}/debian/lintian-overrides DESTINATION share/lintian/overrides RENAME zovagent
  COMPONENT agent)

# As Debian wants them.
foreach(page ${man_pages})
  cmake_path(GET page FILENAME name)
  string(REGEX MATCH "[0-9]$" section ${name})
  add_custom_command(OUTPUT ${generated}/${name}.gz DEPENDS ${page} VERBATIM
    COMMAND gzip -9nc ${page} > ${generated}/${name}.gz)
  install(FILES ${generated}/${name}.gz DESTINATION share/man/man${section} COMPONENT agent)
  list(APPEND made ${generated}/${name}.gz)
endforeach()
add_custom_command(OUTPUT ${generated}/changelog.gz DEPENDS ${packaging}/debian/changelog VERBATIM
  COMMAND gzip -9nc ${packaging}/debian/changelog > ${generated}/changelog.gz)
install(FILES ${generated}/changelog.gz DESTINATION share/doc/zovagent COMPONENT agent)
add_custom_target(package_files ALL DEPENDS ${made} ${generated}/changelog.gz)

# dpkg asks before it replaces these.
file(WRITE ${generated}/conffiles "/etc/zovagent/environment\n/etc/zovagent/zovagent.cfg\n")
set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)  # since not all of it is under one prefix
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL agent collector)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_NAME zovagent)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${ZOV_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "tomcat10")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "monitoring agent for Java application servers
One process takes connections from collectors that live inside the JVMs of
this host's servers, works out rates and percentages, and answers over HTTP
what runs, which requests came and how long they took.

The package holds the agent, the collector, and the service that runs the
scripts of servers for the agent.")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA ${packaging}/debian/postinst ${packaging}/debian/prerm
  ${packaging}/debian/postrm ${generated}/conffiles)
include(CPack)
