#pragma once

/* What the unit and its view have in common: the parameters. */

enum { kDecay, kBrightness, kGain, kParameterCount };

#define PLUCK_VIEW_BUNDLE "PluckView.bundle"
#define PLUCK_VIEW_CLASS "PluckViewFactory"
