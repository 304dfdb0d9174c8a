/* A sibling module for the loader tests. Each copy is built with its own value, so
 * a test can tell which file the loader opened. */
__attribute__((visibility("default"))) int NorvaneTestModuleValue(void) {
  return NORVANE_TEST_MODULE_VALUE;
}
