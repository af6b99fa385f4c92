#pragma once

/* Release numbers of another system that portable sources ask for: `__MAC_12_0` being defined
 * switches their MIDI event lists on. */
#define __MAC_10_15 101500
#define __MAC_11_0 110000
#define __MAC_12_0 120000
