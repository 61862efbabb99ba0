#include "host/engine/print_job.h"

#include <dlfcn.h>

namespace snk::engine {

std::unique_ptr<DriverModule> DriverModule::Load(const std::string& path, std::string* error) {
  std::unique_ptr<DriverModule> module(new DriverModule);
  module->handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (!module->handle_) {
    if (error) *error = "cannot load the driver " + path + ": " + dlerror();
    return nullptr;
  }
  auto enable = reinterpret_cast<PFN_DrvEnableDriver>(dlsym(module->handle_, "DrvEnableDriver"));
  if (!enable) {
    if (error) *error = path + " has no DrvEnableDriver";
    return nullptr;
  }
  constexpr ULONG kEngineVersion = 0x00030100;
  if (!enable(kEngineVersion, sizeof(DRVENABLEDATA), &module->table_) || !module->table_.pdrvfn) {
    if (error) *error = path + ": DrvEnableDriver failed";
    return nullptr;
  }
  return module;
}

DriverModule::~DriverModule() {
  if (auto disable = Get<PFN_DrvDisableDriver>(INDEX_DrvDisableDriver)) disable();
  if (handle_) dlclose(handle_);
}

PFN DriverModule::Function(ULONG index) const {
  for (ULONG i = 0; i < table_.c; ++i)
    if (table_.pdrvfn[i].iFunc == index) return table_.pdrvfn[i].pfn;
  return nullptr;
}

EngineJob::~EngineJob() { Disable(); }

bool EngineJob::Enable(DeviceRequest request, const std::u16string& deviceName, HANDLE printer,
                       std::string* error) {
  auto fail = [&](const char* what) {
    if (error) *error = what;
    return false;
  };
  auto enablePdev = driver_.Get<PFN_DrvEnablePDEV>(INDEX_DrvEnablePDEV);
  auto complete = driver_.Get<PFN_DrvCompletePDEV>(INDEX_DrvCompletePDEV);
  auto enableSurface = driver_.Get<PFN_DrvEnableSurface>(INDEX_DrvEnableSurface);
  if (!enablePdev || !complete || !enableSurface) return fail("the driver lacks a device entry");

  deviceName_ = deviceName;
  HDEV hdev = reinterpret_cast<HDEV>(&device_);
  device_.dhpdev = enablePdev(&request.devmode, nullptr, 0, nullptr, sizeof gdiInfo_,
                              reinterpret_cast<ULONG*>(&gdiInfo_), sizeof devInfo_, &devInfo_, hdev,
                              deviceName_.data(), printer);
  if (!device_.dhpdev) return fail("DrvEnablePDEV failed");
  complete(device_.dhpdev, hdev);
  hsurf_ = enableSurface(device_.dhpdev);
  if (!hsurf_) return fail("DrvEnableSurface failed");
  surface_ = EngLockSurface(hsurf_);
  if (!surface_) return fail("the driver's surface is not an engine surface");
  return true;
}

bool EngineJob::StartDoc(const std::u16string& documentName, DWORD jobId) {
  auto start = driver_.Get<PFN_DrvStartDoc>(INDEX_DrvStartDoc);
  std::u16string name = documentName;
  return start && start(surface_, name.data(), jobId);
}

bool EngineJob::StartPage() {
  auto start = driver_.Get<PFN_DrvStartPage>(INDEX_DrvStartPage);
  return start && start(surface_);
}

bool EngineJob::SendPage() {
  auto send = driver_.Get<PFN_DrvSendPage>(INDEX_DrvSendPage);
  return send && send(surface_);
}

bool EngineJob::EndDoc() {
  auto end = driver_.Get<PFN_DrvEndDoc>(INDEX_DrvEndDoc);
  return end && end(surface_, 0);
}

void EngineJob::Disable() {
  if (surface_) EngUnlockSurface(surface_);
  surface_ = nullptr;
  if (hsurf_) {
    if (auto disable = driver_.Get<PFN_DrvDisableSurface>(INDEX_DrvDisableSurface))
      disable(device_.dhpdev);
    hsurf_ = nullptr;
  }
  if (device_.dhpdev) {
    if (auto disable = driver_.Get<PFN_DrvDisablePDEV>(INDEX_DrvDisablePDEV)) disable(device_.dhpdev);
    device_.dhpdev = nullptr;
  }
}

}  // namespace snk::engine
