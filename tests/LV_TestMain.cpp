// Test start-up: the same explicit registration the program performs, so tests see
// every text key, then the cache's clean-up thread is stopped as at shutdown.
#include <gtest/gtest.h>

#include "core/LV_CoreStartup.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  lv::CoreStartup();
  int result = RUN_ALL_TESTS();
  lv::CoreShutdown();
  return result;
}
