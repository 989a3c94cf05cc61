// The windows' tests run without a screen, inside one application object.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication app(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("VelomarkTests"));
  QApplication::setApplicationName(QStringLiteral("VelomarkTests"));
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
