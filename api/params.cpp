// Defaults, the 16-position configuration file and the noise-level rule.
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "api/denoiser_internal.h"
#include "api/vd_instance.h"
#include "base/vd_log.h"
#include "parallel/stripe.h"

namespace {

const int kLevelParamDefaults[8] = {3, 5, 2, 1, 3, 5, 2, 1};
const int kFilterParamDefaults[5] = {8, 0, 1, 0, 4};
const int kCfgLineSize = 512;

// The record's fields that the configuration file sets, in file order.
int* CfgField(Video_Denoise_Handle* handle, int position) {
  if (position == 0) return &handle->iCfgSwitch1;
  if (position == 1) return &handle->iCfgSwitch2;
  if (position < 10) return &handle->iLevelParams[position - 2];
  if (position == 10) return &handle->iPrevFrameNum;
  return &handle->iFilterParams[position - 11];
}

}  // namespace

void VdDefaultParams(Video_Denoise_Handle* handle) {
  handle->iReserved = 100;
  handle->eType = 0;
  handle->iCfgSwitch1 = 0;
  handle->iCfgSwitch2 = 0;
  handle->iNRLevel = 0;
  std::memcpy(handle->iLevelParams, kLevelParamDefaults,
              sizeof(kLevelParamDefaults));
  handle->iPrevFrameNum = 2;
  std::memcpy(handle->iFilterParams, kFilterParamDefaults,
              sizeof(kFilterParamDefaults));
  handle->sPrevFrames.iFrameCount = -1;
}

// The process-wide instance also puts its barrier counters at rest.
extern "C" void InitVideoDenoiseParams(Video_Denoise_Handle* handle) {
  VdDefaultParams(handle);
  g_canFilter = 0;
  g_canDeleteDP = 0;
  g_canErose = 0;
}

// Reads the next line and returns the text after its first '='. The result
// of fgets is deliberately not checked: at the end of the file the buffer
// still holds the last line, so a short file repeats its last value.
extern "C" const char* GetCfgContent(FILE* file, char* line) {
  (void)std::fgets(line, kCfgLineSize - 1, file);
  line[kCfgLineSize - 1] = 0;
  char* value = std::strchr(line, '=');
  if (!value) return nullptr;
  ++value;
  size_t len = std::strlen(value);
  if (len == 0) return nullptr;
  if (value[len - 1] == '\n') value[--len] = 0;
  if (len == 0) return nullptr;
  if (value[len - 1] == '\r') value[--len] = 0;
  if (len == 0) return nullptr;
  return value;
}

extern "C" int ParseCfgFile(Video_Denoise_Handle* handle, char* path) {
  FILE* file = std::fopen(path, "r");
  if (!file) return -1;
  char line[kCfgLineSize];
  std::memset(line, 0, sizeof(line));
  for (int position = 0; position < 16; ++position) {
    const char* value = GetCfgContent(file, line);
    if (!value) continue;
    int number = std::atoi(value);
    // Line 11 holds the ring count minus one. The largest int stays as it
    // is rather than overflowing; it is clamped below like any other count.
    if (position == 10 && number < INT_MAX) ++number;
    *CfgField(handle, position) = number;
  }
  std::fclose(file);
  // The ring has two slots: a count outside 1..2 would index past them.
  int frames = handle->iPrevFrameNum;
  if (frames < 1 || frames > 2) {
    int clamped = frames < 1 ? 1 : 2;
    VdLog(VD_LOG_ERROR, VD_LOG_TAG,
          "iPrevFrameNum:%d from config is out of range[1,2], using %d!\n",
          frames, clamped);
    handle->iPrevFrameNum = clamped;
  }
  return 0;
}

extern "C" int ParseCfgParams(Video_Denoise_Handle*) { return 0; }

// Bit 0 of the level means a high type, bit 1 a high ISO; the thresholds
// differ by direction, which gives the hysteresis.
extern "C" void SetVideoDenoiseParams(Video_Denoise_Handle* handle,
                                      Video_Denoise_Type eType, int iISO) {
  const int t = eType;
  const int iso = iISO;
  int level = handle->iNRLevel;
  switch (level) {
    case 0:
      if (t > 5) level = iso <= 379 ? 1 : 3;
      else if (iso >= 380) level = 2;
      break;
    case 1:
      if (t > 4) level = iso >= 380 ? 3 : 1;
      else level = iso >= 380 ? 2 : 0;
      break;
    case 2:
      if (t > 5) level = iso <= 320 ? 1 : 3;
      else if (iso <= 319) level = 0;
      break;
    case 3:
      if (t <= 4) {
        if (iso >= 321) level = 2;
        else if (iso <= 319) level = 0;
      } else if (iso <= 319) {
        level = 1;
      }
      break;
    default:
      break;
  }
  handle->iNRLevel = level;
}
