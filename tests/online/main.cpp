#include <gtest/gtest.h>

#include <QCoreApplication>

// The loopback races need an event loop for their sockets and timers.
int main(int argc, char** argv) {
  QCoreApplication app(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
