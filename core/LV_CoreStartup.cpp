#include "core/LV_CoreStartup.h"

#include "core/LV_CachedVector.h"
#include "core/LV_ByteStream.h"
#include "core/LV_CachedDataSource.h"
#include "core/LV_ColumnInfo.h"
#include "core/LV_ColumnStats.h"
#include "core/LV_DataCache.h"
#include "core/LV_DataCacheCleanup.h"
#include "core/LV_DataEngine.h"
#include "core/LV_DataSource.h"
#include "core/LV_DerivedDataSource.h"
#include "core/LV_Errors.h"
#include "core/LV_FilteredDataSource.h"
#include "core/LV_Properties.h"
#include "core/LV_ReadFile.h"
#include "core/LV_SafeFile.h"
#include "core/LV_SystemError.h"
#include "core/LV_TunedDataSource.h"
#include "core/LV_Types.h"
#include "core/LV_Vendor.h"

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
