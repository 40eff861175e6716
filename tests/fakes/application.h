// The application object that the toolkit wants, in a test.
#pragma once

namespace quenvar {

/// `Application`: one of the toolkit's application classes.
template <typename Application>
class TestApplication : public Application {
 public:
  TestApplication() : Application(count_, arguments_) {}

 private:
  static inline int count_ = 1;
  static inline char name_[] = "test";
  static inline char* arguments_[] = {name_, nullptr};
};

}  // namespace quenvar
