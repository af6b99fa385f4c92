#pragma once

/* A module that presents plugins of another kind as Audio Units.
 *
 * The component registry opens lib/vesk/NAME.so only when a search can match what it offers
 * (manufacturer `LV2_` or any manufacturer for the LV2 module, the sampler's codes for the
 * sampler), and asks it through the one function that it exports. */

#include <AudioToolbox/AudioComponent.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct VeskProvidedComponent {
  AudioComponentDescription description; /* codes and flags; mask 0 */
  const char* name;                      /* UTF-8, "Maker: Name"; never NULL */
  UInt32 version;                        /* 0xMMMMmmbb */
  const char* identity;                  /* the plugin's URI, stable between searches */
} VeskProvidedComponent;

typedef void (*VeskComponentVisitor)(void* context, const VeskProvidedComponent* component);

typedef struct VeskComponentProvider {
  /* Calls `visit` for each installed component that matches `wanted` (0 = any), in a stable order.
   * Strings live during the call. With all three codes given it looks up one entry. */
  void (*enumerate)(const AudioComponentDescription* wanted, VeskComponentVisitor visit,
                    void* context);
  /* Makes the interface block of one component for `identity`, ready for Open. NULL with
   * `*status` set when it cannot be had. */
  AudioComponentPlugInInterface* (*create)(const char* identity, OSStatus* status);
} VeskComponentProvider;

/* Exported by the module under this name. Never NULL; lives as long as the process. */
const VeskComponentProvider* vesk_component_provider(void);
typedef const VeskComponentProvider* (*VeskComponentProviderFunction)(void);

#ifdef __cplusplus
}
#endif
