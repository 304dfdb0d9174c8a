#include "norvane/task_runtime/semantic_processor.h"

namespace norvane {

TPSTaskObject::TPSTaskObject(const std::string& taskName, const std::string& taskSetting)
    : moduleData(nullptr), moduleWord(0), name(taskName), setting(taskSetting) {}

TPSTaskObject::~TPSTaskObject() = default;

SemanticProcessor::SemanticProcessor(const std::string& processorName, void* moduleHandle)
    : handle(moduleHandle), name(processorName) {}

SemanticProcessor::~SemanticProcessor() = default;

void SemanticProcessor::AppendTpsTask(TQRef<TPSTaskObject> task) { tasks.push_back(std::move(task)); }

void SemanticProcessorGroup::AppendProcessor(TQRef<SemanticProcessor> processor) {
  processors.push_back(std::move(processor));
}

}  // namespace norvane
