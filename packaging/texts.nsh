; The system's language chooses; English, the first, is for every other than Chinese.
!insertmacro MUI_LANGUAGE English
!insertmacro MUI_LANGUAGE SimpChinese

!macro Text NAME ENGLISH CHINESE
  LangString ${NAME} ${LANG_ENGLISH} "${ENGLISH}"
  LangString ${NAME} ${LANG_SIMPCHINESE} "${CHINESE}"
!macroend

!insertmacro Text ProductName "${PRODUCT_NAME_ENGLISH}" "${PRODUCT_NAME}"
!insertmacro Text NotElevated "Run this program as an administrator." "请以管理员身份运行本程序。"
!insertmacro Text Busy "Another setup of $(ProductName) is running." "$(ProductName)的另一个安装或卸载程序正在运行。"
!insertmacro Text UnsupportedSystem "$(ProductName) is for 64-bit Windows on x64 processors." \
  "$(ProductName)仅支持 x64 处理器上的 64 位 Windows。"
!insertmacro Text NewerInstalled \
  "Version $1 is installed, which is newer than ${PRODUCT_VERSION}. To go back, remove it first." \
  "已安装的版本 $1 比 ${PRODUCT_VERSION} 新。如需降级，请先卸载它。"
!insertmacro Text FilesFailed "Files could not be written. Run the setup again after a restart." \
  "无法写入文件。请重新启动系统后再次运行安装程序。"
!insertmacro Text NotRegistered \
  "The files are in place, but $(ProductName) could not be registered. Run the setup again." \
  "文件已就位，但$(ProductName)未能注册。请再次运行安装程序。"
!insertmacro Text NotStarted \
  "TarvoLayout.exe could not be run, so nothing was removed. Run the setup again, then remove the product." \
  "无法运行 TarvoLayout.exe，未删除任何文件。请再次运行安装程序，然后卸载。"
!insertmacro Text StillRegistered "$(ProductName) is still registered with the system. Remove its files all the same?" \
  "$(ProductName)仍在系统中注册。仍要删除其文件吗？"
