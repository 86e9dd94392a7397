#ifndef QUENDRIL_CATALOGUE_RUNNINGEDIT_H
#define QUENDRIL_CATALOGUE_RUNNINGEDIT_H

// That the calling thread is inside a ContainerInfoEdit, which holds a catalogue's lock and a
// file's. What takes such locks would wait for its own thread, or take two files' locks in an order
// of chance, so it is refused.
class RunningEdit {
 public:
  // Throws EDEADLK, with `operation` in the text, if the calling thread is inside an edit.
  static void Refuse(char const* operation);

  // The calling thread is inside an edit as long as this lives. Throws as Refuse.
  RunningEdit();
  RunningEdit(RunningEdit const&) = delete;
  RunningEdit& operator=(RunningEdit const&) = delete;
  ~RunningEdit();

  // Whether this process was forked since.
  bool IsInherited() const;

 private:
  int const m_process;
};

#endif
