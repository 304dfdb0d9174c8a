// A counted test image whose hash id is given, so that tests control image ids.
#ifndef NORVANE_TESTS_TASK_RUNTIME_TEST_IMAGE_H_
#define NORVANE_TESTS_TASK_RUNTIME_TEST_IMAGE_H_

#include <string>

#include "norvane/basic_structures/tq_image_data.h"

namespace norvane {
namespace testing_support {

class NamedImage : public basic_structures::TQImageData {
 public:
  explicit NamedImage(std::string name, int width = 8, int height = 6)
      : TQImageData(0, nullptr, nullptr, width, height, width, basic_structures::IPF_GRAYSCALE),
        name_(std::move(name)) {}
  void CalcHashID() override {
    id.SetValue(name_);
    id.isSet = true;
  }

 private:
  std::string name_;
};

}  // namespace testing_support
}  // namespace norvane

#endif  // NORVANE_TESTS_TASK_RUNTIME_TEST_IMAGE_H_
