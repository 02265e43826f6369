# Who maintains the Debian packages and gets reports. The files of debian/ have the same text, since they cannot take it from
# here: scripts/set-contact changes it everywhere, and a test compares.
set(RAVELO_PACKAGE_CONTACT "RaveloOpt developers <raveloopt@example.org>" CACHE STRING "Who answers for the packages")
