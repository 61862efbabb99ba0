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

bool EngineJob::EnableDevice(Device& device, DeviceRequest& request, std::string* error) {
  auto fail = [&](const char* what) {
    if (error) *error = what;
    return false;
  };
  auto enablePdev = driver_.Get<PFN_DrvEnablePDEV>(INDEX_DrvEnablePDEV);
  auto complete = driver_.Get<PFN_DrvCompletePDEV>(INDEX_DrvCompletePDEV);
  auto enableSurface = driver_.Get<PFN_DrvEnableSurface>(INDEX_DrvEnableSurface);
  if (!enablePdev || !complete || !enableSurface) return fail("the driver lacks a device entry");

  HDEV hdev = reinterpret_cast<HDEV>(device.engine.get());
  device.engine->dhpdev = enablePdev(&request.devmode, nullptr, 0, nullptr, sizeof device.gdiInfo,
                                     reinterpret_cast<ULONG*>(&device.gdiInfo), sizeof device.devInfo,
                                     &device.devInfo, hdev, deviceName_.data(), printer_);
  if (!device.engine->dhpdev) return fail("DrvEnablePDEV failed");
  complete(device.engine->dhpdev, hdev);
  return true;
}

bool EngineJob::Enable(DeviceRequest request, const std::u16string& deviceName, HANDLE printer,
                       std::string* error) {
  deviceName_ = deviceName;
  printer_ = printer;
  return EnableDevice(current_, request, error) && EnableSurface(current_, error);
}

bool EngineJob::EnableSurface(Device& device, std::string* error) {
  device.hsurf = driver_.Get<PFN_DrvEnableSurface>(INDEX_DrvEnableSurface)(device.engine->dhpdev);
  device.surface = device.hsurf ? EngLockSurface(device.hsurf) : nullptr;
  if (device.surface) return true;
  if (error) *error = device.hsurf ? "the driver's surface is not an engine surface" : "DrvEnableSurface failed";
  return false;
}

bool EngineJob::Reset(DeviceRequest request, std::string* error) {
  auto reset = driver_.Get<PFN_DrvResetPDEV>(INDEX_DrvResetPDEV);
  if (!reset) {
    if (error) *error = "the driver has no DrvResetPDEV";
    return false;
  }
  Device next;
  if (!EnableDevice(next, request, error)) {
    DisableDevice(next);
    return false;
  }
  if (!reset(current_.engine->dhpdev, next.engine->dhpdev)) {
    if (error) *error = "DrvResetPDEV failed";
    DisableDevice(next);
    return false;
  }
  // From here the job belongs to the new device; the old one only waits to
  // be disabled, whatever happens to the new surface.
  const bool surfaceMade = EnableSurface(next, error);
  std::swap(current_, next);
  DisableDevice(next);
  return surfaceMade && StartDoc(documentName_, 0);
}

bool EngineJob::StartDoc(const std::u16string& documentName, DWORD jobId) {
  auto start = driver_.Get<PFN_DrvStartDoc>(INDEX_DrvStartDoc);
  documentName_ = documentName;
  std::u16string name = documentName;
  return start && current_.surface && start(current_.surface, name.data(), jobId);
}

bool EngineJob::StartPage() {
  auto start = driver_.Get<PFN_DrvStartPage>(INDEX_DrvStartPage);
  return start && current_.surface && start(current_.surface);
}

bool EngineJob::SendPage() {
  auto send = driver_.Get<PFN_DrvSendPage>(INDEX_DrvSendPage);
  return send && current_.surface && send(current_.surface);
}

bool EngineJob::EndDoc() {
  auto end = driver_.Get<PFN_DrvEndDoc>(INDEX_DrvEndDoc);
  return end && current_.surface && end(current_.surface, 0);
}

void EngineJob::DisableDevice(Device& device) {
  if (device.surface) EngUnlockSurface(device.surface);
  device.surface = nullptr;
  if (device.hsurf) {
    if (auto disable = driver_.Get<PFN_DrvDisableSurface>(INDEX_DrvDisableSurface))
      disable(device.engine->dhpdev);
    device.hsurf = nullptr;
  }
  if (device.engine->dhpdev) {
    if (auto disable = driver_.Get<PFN_DrvDisablePDEV>(INDEX_DrvDisablePDEV)) disable(device.engine->dhpdev);
    device.engine->dhpdev = nullptr;
  }
}

void EngineJob::Disable() { DisableDevice(current_); }

}  // namespace snk::engine
