// What the groups of the host share.
#ifndef HOST_CHECK_H
#define HOST_CHECK_H

#include <cstdio>

#if defined(HOST_STANDARD)
static_assert(__cplusplus / 100 == 2000 + HOST_STANDARD, "the target asks for more than it needs");
#endif

/// How many checks failed.
inline int& Failures() {
  static int failures = 0;
  return failures;
}

inline void Check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "host: %s\n", what);
  ++Failures();
}

template <class Exception, class Function>
bool Throws(Function function) {
  try {
    function();
  } catch (const Exception& exception) {
    const Exception copy(exception);  // the type is known on both sides, and the object can be copied
    static_cast<void>(copy);
    return true;
  } catch (...) {
  }
  return false;
}

void CheckArrays();
void CheckTexts();

#endif
