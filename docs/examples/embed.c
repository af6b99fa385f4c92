/* Plays one note through a chain in a process of its own and prints the peak. */
#include <math.h>
#include <stdio.h>
#include <vesk/vesk.h>

enum { kFrames = 128, kRate = 48000 };

int main(int argc, char** argv) {
  if (argc != 2) {
    fprintf(stderr, "usage: %s CHAIN, for example 'MDA ePiano|MDA Ambience'\n", argv[0]);
    return 2;
  }
  char chain[1024], sentence[256];
  const vesk_named_chain named = {.struct_size = sizeof named, .text = argv[1]};
  const size_t length =
      vesk_specification_of(&named, chain, sizeof chain, sentence, sizeof sentence);
  if (length == 0 || length >= sizeof chain) {
    fprintf(stderr, "%s\n", length == 0 ? sentence : "the chain is too long");
    return 1;
  }
  /* Faster than played, so that one loop is enough; a live program renders in its audio callback.
   */
  const vesk_options options = {
      .struct_size = sizeof options, .chain = chain, .mode = VESK_OFFLINE};
  vesk_host* host = vesk_host_start(&options, sentence, sizeof sentence);
  if (!host) {
    fprintf(stderr, "%s\n", sentence);
    return 1;
  }

  const vesk_midi_event note = {0x90, 60, 100, 0, 0};
  const int64_t limit_ns = 1000000000;
  vesk_answer answer = VESK_ANSWERED;
  float peak = 0;
  for (int i = 0; i < kRate / kFrames && answer == VESK_ANSWERED; ++i) {
    answer = vesk_host_render(host, kFrames, i * (double)kFrames, &note, i == 0, limit_ns);
    const float* left = vesk_host_output(host, 0);
    for (int frame = 0; answer == VESK_ANSWERED && frame < kFrames; ++frame)
      peak = fmaxf(peak, fabsf(left[frame]));
  }
  if (answer == VESK_ANSWERED)
    printf("peak %.3f\n", peak);
  else if (vesk_host_obituary(host, sentence, sizeof sentence) > 0)
    fprintf(stderr, "%s\n", sentence);

  vesk_ending ending = {.struct_size = sizeof ending};
  vesk_host_stop(host, &ending);
  vesk_host_free(host);
  return answer == VESK_ANSWERED && ending.orderly ? 0 : 1;
}
