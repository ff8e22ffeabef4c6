# What an installed copy is known as and where it lives below a prefix: a folder that holds the
# program and all it needs, which platform/linux/LinuxApplicationBundle.h tells of.

set(MORVEL_APPLICATION_ID app.morvel.Morvel)
if(APPLE)
    set(MORVEL_BUNDLE Morvel.app)
    set(MORVEL_BUNDLE_PROGRAMS ${MORVEL_BUNDLE}/Contents/MacOS)
    set(MORVEL_BUNDLE_DATA ${MORVEL_BUNDLE}/Contents/Resources)
else()
    set(MORVEL_BUNDLE lib/Morvel.app)
    set(MORVEL_BUNDLE_PROGRAMS ${MORVEL_BUNDLE}/bin)
    set(MORVEL_BUNDLE_DATA ${MORVEL_BUNDLE}/share)
endif()

# Policies are read from the system's own prefix only, and name the program as it is found there.
set(MORVEL_KEYBOARD_ACCESS /usr/libexec/morvel-keyboard-access)
