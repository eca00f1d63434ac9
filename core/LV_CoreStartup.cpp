#include "core/LV_CoreStartup.h"

#include "core/cache/LV_CachedVector.h"
#include "core/cache/LV_DataCache.h"
#include "core/cache/LV_DataCacheCleanup.h"
#include "core/columns/LV_ColumnInfo.h"
#include "core/columns/LV_ColumnStats.h"
#include "core/columns/LV_Types.h"
#include "core/platform/LV_ByteStream.h"
#include "core/platform/LV_ReadFile.h"
#include "core/platform/LV_SafeFile.h"
#include "core/registry/LV_Properties.h"
#include "core/registry/LV_Vendor.h"
#include "core/sources/LV_CachedDataSource.h"
#include "core/sources/LV_DataEngine.h"
#include "core/sources/LV_DataSource.h"
#include "core/sources/LV_DerivedDataSource.h"
#include "core/sources/LV_FilteredDataSource.h"
#include "core/sources/LV_TunedDataSource.h"
#include "core/text/LV_Errors.h"
#include "core/text/LV_SystemError.h"

namespace lv {

void CoreStartup() {
  RegisterErrorsTexts();
  RegisterTypesTexts();
  RegisterByteStreamTexts();
  RegisterColumnInfoTexts();
  RegisterColumnStatsTexts();
  RegisterDataSourceTexts();
  RegisterTunedDataSourceTexts();
  RegisterDerivedDataSourceTexts();
  RegisterFilteredDataSourceTexts();
  RegisterDataEngineTexts();
  RegisterCachedDataSourceTexts();
  RegisterPropertiesTexts();
  RegisterCachedVectorTexts();
  RegisterDataCacheTexts();
  RegisterSafeFileTexts();
  RegisterReadFileTexts();
  RegisterSystemErrorTexts();
  RegisterVendorTexts();
  RegisterCoreVendors();
}

void CoreShutdown() {
  // Stops the row cache's clean-up thread, frees the blocks it still holds and deletes
  // the cache's temporary files.
  TLVDataCacheCleanupBuffer::Instance().Shutdown();
}

}  // namespace lv
