#pragma once

namespace vesk::platform {

/// Whether the process that started this one has ended.
///
/// macOS hands an orphan to process 1, and the question is just that. On Linux a subreaper may
/// adopt it and process 1 may itself be the parent, so there a thread watches the parent that
/// `prepare_host_process` found at the start. Any thread; one system call at most.
bool parent_has_gone();

/// Tells the watch that the main thread is on its way out, for whatever reason, and may still be
/// saving. On Linux a process that outlives its parent is ended after some seconds, one that has
/// called this after some more. Any thread; never blocks.
void announce_end();

/// A save that is under way for as long as this lives: a process whose parent has ended meanwhile
/// is given the same time for it. Any thread; never blocks.
class SaveUnderWay {
 public:
  SaveUnderWay();
  ~SaveUnderWay();
  SaveUnderWay(const SaveUnderWay&) = delete;
  SaveUnderWay& operator=(const SaveUnderWay&) = delete;
};

}  // namespace vesk::platform
