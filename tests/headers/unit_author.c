// A unit in C that includes CoreFoundation alone, whose header brings the C library's.
#include <CoreFoundation/CoreFoundation.h>

static CFStringRef const kName = CFSTR("name");
static const struct {
  CFStringRef format;
} kTexts[] = {{CFSTR("%@: %s")}};

CFStringRef vesk_test_unit_of_c(void);
CFStringRef vesk_test_unit_of_c(void) {
  errno = 0;
  assert(isfinite(1.0) && INT_MAX > 0 && DBL_MAX > 1 && isdigit('1') && UINT64_C(1) == 1);
  char* text = (char*)CFAllocatorAllocate(kCFAllocatorDefault, 16, 0);
  memset(text, 0, 16);
  snprintf(text, 16, "%.2f", sqrt(0.25));
  CFStringRef string =
      CFStringCreateWithFormat(kCFAllocatorDefault, NULL, kTexts[0].format, kName, text);
  CFAllocatorDeallocate(kCFAllocatorDefault, text);
  return string;
}
