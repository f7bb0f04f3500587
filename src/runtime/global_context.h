#pragma once
// ZOVGlobalContext: a named place in the program, with no behaviour.

class ZOVGlobalContext {
 public:
  explicit ZOVGlobalContext(char*) {}
};
