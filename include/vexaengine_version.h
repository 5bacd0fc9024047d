/*
 * VexaEngine's version, the one place it is defined. The build reads it from
 * here (library version and SONAME, the CMake package, pkg-config, the DLL's
 * version resource), and hosts can check it at compile time. Kept free of
 * anything but #define so that the resource compiler can include it.
 */
#ifndef VEXAENGINE_VERSION_H
#define VEXAENGINE_VERSION_H

#define VEXA_VERSION_MAJOR 0
#define VEXA_VERSION_MINOR 9
#define VEXA_VERSION_PATCH 0

#define VEXA_VERSION_TEXT_(x) #x
#define VEXA_VERSION_TEXT(x) VEXA_VERSION_TEXT_(x)
/* "MAJOR.MINOR.PATCH" */
#define VEXA_VERSION_STRING \
    VEXA_VERSION_TEXT(VEXA_VERSION_MAJOR) "." VEXA_VERSION_TEXT(VEXA_VERSION_MINOR) "." VEXA_VERSION_TEXT(VEXA_VERSION_PATCH)

/* One number that compares as versions do: 0x00MMmmpp. */
#define VEXA_VERSION ((VEXA_VERSION_MAJOR << 16) | (VEXA_VERSION_MINOR << 8) | VEXA_VERSION_PATCH)

#endif /* VEXAENGINE_VERSION_H */
