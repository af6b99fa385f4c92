/* The interface of the knob, in plain Xlib. Its upper half sets the level; the lower has keys that
 * report what the interface knows, as a value of a control that the plugin plays, a key that makes
 * the window larger, and in the part that is won by it one that throws. With KNOB_IS_EXTERNAL the
 * window is one of its own, which the host has to ask for. */
#include <X11/Xlib.h>
#include <lv2/atom/atom.h>
#include <lv2/ui/ui.h>
#include <stdlib.h>

#include "test_plugins.h"

#define KNOB_HOST "http://kxstudio.sf.net/ns/lv2ext/external-ui#Host"

/* Throws a C++ exception. */
void test_throw(void);

enum { kQuestions, kAnswers, kLevel = 4, kReport, kOwn, kHalf, kPorts = 9 };
enum { kWidth = 240, kHeight = 160, kKey = 60, kGrown = 300, kGrownHeight = 190 };

/* What an external interface gives as its widget. */
typedef struct ExternalWidget {
  void (*run)(struct ExternalWidget* widget);
  void (*show)(struct ExternalWidget* widget);
  void (*hide)(struct ExternalWidget* widget);
} ExternalWidget;

typedef struct {
  ExternalWidget external; /* First: a pointer to it is one to the interface. */
  LV2UI_Write_Function write;
  LV2UI_Controller controller;
  const LV2UI_Resize* resize;
  const LV2UI_Touch* touch;
  LV2_URID integer, transfer;
  Display* display;
  Window window;
  int width;
  float heard[kPorts];
} Interface;

static void set(Interface* self, uint32_t port, float value) {
  self->touch->touch(self->touch->handle, port, true);
  self->write(self->controller, port, sizeof value, 0, &value);
  self->touch->touch(self->touch->handle, port, false);
}

static void draw(Interface* self) {
  const GC gc = DefaultGC(self->display, DefaultScreen(self->display));
  XSetForeground(self->display, gc, 0x555555);
  for (int key = 0; key < 4; ++key)
    XFillRectangle(self->display, self->window, gc, key * kKey + 4, kHeight / 2 + 4, kKey - 8, 72);
}

static void press(Interface* self, int x, int y) {
  const LV2_Atom_Int question = {{sizeof(int32_t), self->integer}, 21};
  if (y < kHeight / 2) {
    set(self, kLevel, (float)x / (float)self->width);
  } else if (x < kKey) {
    self->write(self->controller, kQuestions, sizeof question, self->transfer, &question);
  } else if (x < 2 * kKey) {
    set(self, kReport, self->heard[kOwn]);
  } else if (x < 3 * kKey) {
    set(self, kReport, self->heard[kHalf]);
  } else if (x < 4 * kKey) {
    self->width = kGrown;
    XResizeWindow(self->display, self->window, kGrown, kGrownHeight);
    self->resize->ui_resize(self->resize->handle, kGrown, kGrownHeight);
  } else {
    test_throw();
  }
}

static int idle(LV2UI_Handle handle) {
  Interface* self = handle;
  while (XPending(self->display)) {
    XEvent event;
    XNextEvent(self->display, &event);
    if (event.type == ButtonPress) press(self, event.xbutton.x, event.xbutton.y);
    if (event.type == Expose) draw(self);
  }
  return 0;
}

static void run_external(ExternalWidget* widget) { idle(widget); }

static void show_external(ExternalWidget* widget) {
  Interface* self = (Interface*)widget;
  XMapWindow(self->display, self->window);
  XFlush(self->display);
}

static void hide_external(ExternalWidget* widget) { (void)widget; }

static LV2UI_Handle instantiate(const LV2UI_Descriptor* descriptor, const char* plugin,
                                const char* bundle, LV2UI_Write_Function write,
                                LV2UI_Controller controller, LV2UI_Widget* widget,
                                const LV2_Feature* const* features) {
  (void)descriptor, (void)plugin, (void)bundle;
  const LV2_URID_Map* map = feature_data(features, LV2_URID__map);
  Display* display = XOpenDisplay(NULL);
  if (!display) return NULL;
#ifdef KNOB_IS_EXTERNAL
  Window parent = feature_data(features, KNOB_HOST) ? DefaultRootWindow(display) : 0;
#else
  const Window parent = (Window)feature_data(features, LV2_UI__parent);
#endif
  Interface* self = calloc(1, sizeof(Interface));
  self->write = write;
  self->controller = controller;
  self->resize = feature_data(features, LV2_UI__resize);
  self->touch = feature_data(features, LV2_UI__touch);
  self->width = kWidth;
  self->display = display;
  self->external = (ExternalWidget){run_external, show_external, hide_external};
  if (!map || !parent || !self->resize || !self->touch) {
    free(self);
    return NULL;
  }
  self->integer = urid(map, LV2_ATOM__Int);
  self->transfer = urid(map, LV2_ATOM__eventTransfer);
  self->window = XCreateSimpleWindow(self->display, parent, 0, 0, kWidth, kHeight, 0, 0, 0x222222);
  XSelectInput(self->display, self->window, ButtonPressMask | ExposureMask);
#ifdef KNOB_IS_EXTERNAL
  *widget = self;
#else
  XMapWindow(self->display, self->window);
  *widget = (LV2UI_Widget)self->window;
#endif
  /* A mistake: there is no such window. */
  XMapWindow(self->display, 1);
  XSync(self->display, False);
  self->resize->ui_resize(self->resize->handle, kWidth, kHeight);
  /* Another: nobody has asked for this. */
  const float value = 0.75f;
  write(controller, kOwn, sizeof value, 0, &value);
  return self;
}

static void cleanup(LV2UI_Handle handle) {
  Interface* self = handle;
  XDestroyWindow(self->display, self->window);
  XCloseDisplay(self->display);
  free(self);
}

static void port_event(LV2UI_Handle handle, uint32_t port, uint32_t size, uint32_t format,
                       const void* data) {
  Interface* self = handle;
  const LV2_Atom_Int* answer = data;
  if (port == kAnswers && format == self->transfer && answer->atom.type == self->integer) {
    set(self, kReport, (float)answer->body / 100);
  } else if (port < kPorts && format == 0 && size == sizeof(float)) {
    memcpy(&self->heard[port], data, size);
    draw(self);
  }
}

static const void* extension_data(const char* uri) {
  static const LV2UI_Idle_Interface idles = {idle};
  return strcmp(uri, LV2_UI__idleInterface) == 0 ? &idles : NULL;
}

#ifdef KNOB_DRAWS_WITH_GL
/* What an interface that is linked with libGL is known by. */
LV2_SYMBOL_EXPORT int glXQueryVersion(void* display, int* major, int* minor) {
  (void)display, (void)major, (void)minor;
  return 0;
}
#define KNOB_URI "urn:vesk:test:gl-knob-ui"
#elif defined(KNOB_IS_EXTERNAL)
#define KNOB_URI "urn:vesk:test:external-knob-ui"
#else
#define KNOB_URI "urn:vesk:test:knob-ui"
#endif

LV2_SYMBOL_EXPORT const LV2UI_Descriptor* lv2ui_descriptor(uint32_t index) {
  static const LV2UI_Descriptor knob = {KNOB_URI, instantiate, cleanup, port_event, extension_data};
  return index == 0 ? &knob : NULL;
}
