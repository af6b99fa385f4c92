#pragma once

/* Release numbers that portable sources compare. What this platform offers is of the newest one
 * named here, so that they take their present branches. */

#define MAC_OS_X_VERSION_10_0 1000
#define MAC_OS_X_VERSION_10_1 1010
#define MAC_OS_X_VERSION_10_2 1020
#define MAC_OS_X_VERSION_10_3 1030
#define MAC_OS_X_VERSION_10_4 1040
#define MAC_OS_X_VERSION_10_5 1050
#define MAC_OS_X_VERSION_10_6 1060
#define MAC_OS_X_VERSION_10_7 1070
#define MAC_OS_X_VERSION_10_8 1080
#define MAC_OS_X_VERSION_10_9 1090
#define MAC_OS_X_VERSION_10_10 101000
#define MAC_OS_X_VERSION_10_11 101100
#define MAC_OS_X_VERSION_10_12 101200
#define MAC_OS_X_VERSION_10_13 101300
#define MAC_OS_X_VERSION_10_14 101400
#define MAC_OS_X_VERSION_10_15 101500
#define MAC_OS_VERSION_11_0 110000
#define MAC_OS_VERSION_12_0 120000

#define MAC_OS_X_VERSION_MIN_REQUIRED MAC_OS_VERSION_12_0
#define MAC_OS_X_VERSION_MAX_ALLOWED MAC_OS_VERSION_12_0
