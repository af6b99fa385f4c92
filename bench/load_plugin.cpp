// What loading an LV2 plugin costs by itself, in a fresh process: opens LIBRARY, instantiates the
// plugin URI of BUNDLE, activates it, and prints the milliseconds.

#include <dlfcn.h>
#include <lv2/core/lv2.h>
#include <lv2/urid/urid.h>

#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

LV2_URID map_uri(LV2_URID_Map_Handle next, const char*) {
  return ++*static_cast<LV2_URID*>(next);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return 2;
  const auto start = std::chrono::steady_clock::now();
  void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
  auto* const descriptor_of =
      library ? reinterpret_cast<LV2_Descriptor_Function>(dlsym(library, "lv2_descriptor"))
              : nullptr;
  if (!descriptor_of) return 1;
  const LV2_Descriptor* descriptor = nullptr;
  for (std::uint32_t i = 0; (descriptor = descriptor_of(i)) != nullptr; ++i)
    if (std::strcmp(descriptor->URI, argv[2]) == 0) break;
  if (!descriptor) return 1;
  LV2_URID next = 0;
  LV2_URID_Map map{&next, map_uri};
  const LV2_Feature map_feature{LV2_URID__map, &map};
  const LV2_Feature* const features[] = {&map_feature, nullptr};
  LV2_Handle const plugin = descriptor->instantiate(descriptor, 48'000, argv[3], features);
  if (!plugin) return 1;
  if (descriptor->activate) descriptor->activate(plugin);
  const std::chrono::duration<double, std::milli> elapsed =
      std::chrono::steady_clock::now() - start;
  std::printf("%.6f\n", elapsed.count());
}
