// Named holders for the post-processing tasks that a parsing module applies to
// results. A TPSTaskObject is one task (a name and its setting text), a
// SemanticProcessor groups tasks under a name with an opaque handle of the module
// that runs them, a SemanticProcessorGroup lists processors. Nothing here runs a
// task. Filled while a template is loaded and read afterwards; not synchronised.
#ifndef NORVANE_TASK_RUNTIME_SEMANTIC_PROCESSOR_H_
#define NORVANE_TASK_RUNTIME_SEMANTIC_PROCESSOR_H_

#include <string>
#include <vector>

#include "norvane/core/export.h"
#include "norvane/core/object_base.h"

namespace norvane {

class NORVANE_API TPSTaskObject : public TQObjectBase {
 public:
  TPSTaskObject(const std::string& name, const std::string& setting);
  ~TPSTaskObject() override;

  const std::string& GetName() const { return name; }
  const std::string& GetSetting() const { return setting; }
  // Kept for the executing module.
  void* GetModuleData() const { return moduleData; }
  void SetModuleData(void* data) { moduleData = data; }
  int GetModuleWord() const { return moduleWord; }
  void SetModuleWord(int word) { moduleWord = word; }

 private:
  void* moduleData;
  int moduleWord;
  std::string name;
  std::string setting;
};

class NORVANE_API SemanticProcessor : public TQObjectBase {
 public:
  // `handle` is the executing module's, not owned.
  SemanticProcessor(const std::string& name, void* handle);
  ~SemanticProcessor() override;

  const std::string& GetName() const { return name; }
  void* GetHandle() const { return handle; }
  // A reference the executing module may keep here.
  const TQRef<TQObjectBase>& GetModuleObject() const { return moduleObject; }
  void SetModuleObject(const TQRef<TQObjectBase>& object) { moduleObject = object; }
  const std::vector<TQRef<TPSTaskObject>>& GetTpsTasks() const { return tasks; }
  // Appends; the same task may be listed twice.
  void AppendTpsTask(TQRef<TPSTaskObject> task);

 private:
  void* handle;
  TQRef<TQObjectBase> moduleObject;
  std::string name;
  std::vector<TQRef<TPSTaskObject>> tasks;
};

class NORVANE_API SemanticProcessorGroup {
 public:
  void AppendProcessor(TQRef<SemanticProcessor> processor);
  const std::vector<TQRef<SemanticProcessor>>& GetProcessors() const { return processors; }

 private:
  std::vector<TQRef<SemanticProcessor>> processors;
};

}  // namespace norvane

#endif  // NORVANE_TASK_RUNTIME_SEMANTIC_PROCESSOR_H_
