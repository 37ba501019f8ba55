; The setup of the input method, in UTF-8. packaging/make-setup builds it and hands over:
;   PRODUCT_FILE  version and names of the build, written by CMake
;   FILES         folder with TarvoLayout.exe, TarvoReport.exe, TarvoPY.ime and TarvoTSF.ime, signed where that is wanted
;   ARTWORK       folder with tarvo.ico and welcome.bmp
;   OUTPUT        the setup to write
;   SIGN_COMMAND  signs the file that it is given; undefined when nothing is to be signed

Unicode true
Target amd64-unicode ; as a 64-bit program it sees System32 and the registry as the input method's hosts do
SetCompressor /SOLID lzma
SetDateSave off ; the same files give the same setup, whenever they were built
ManifestSupportedOS all
ManifestDPIAware true
RequestExecutionLevel admin

!include "${PRODUCT_FILE}"
!searchparse "${PRODUCT_VERSION}" "" PRODUCT_VERSION_MAJOR "." PRODUCT_VERSION_MINOR "."
!define PRODUCT_KEY "Software\TarvoInput"
!define ENTRY_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\TarvoInput"

; Windows Installer's own numbers, so that a deployment tool knows them. 0 is done.
!define EXIT_NOT_ELEVATED 740
!define EXIT_CANCELLED 1602
!define EXIT_FILES_FAILED 1603
!define EXIT_BUSY 1618
!define EXIT_REGISTRATION_FAILED 1627
!define EXIT_UNSUPPORTED_SYSTEM 1633
!define EXIT_NEWER_INSTALLED 1638
!define EXIT_RESTART_NEEDED 3010

!include LogicLib.nsh
!include x64.nsh
!include FileFunc.nsh
!include WordFunc.nsh

!define MUI_ICON "${ARTWORK}\tarvo.ico"
!define MUI_UNICON "${ARTWORK}\tarvo.ico"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${ARTWORK}\welcome.bmp"
!define MUI_CUSTOMFUNCTION_ABORT OnCancel
!include MUI2.nsh
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_UNPAGE_FINISH
!include texts.nsh

Name "$(ProductName)"
BrandingText " "
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\TarvoInput"

!macro VersionTexts LANGUAGE NAME
  VIAddVersionKey /LANG=${LANGUAGE} "ProductName" "${NAME}"
  VIAddVersionKey /LANG=${LANGUAGE} "FileDescription" "${NAME}"
  VIAddVersionKey /LANG=${LANGUAGE} "CompanyName" "${PRODUCT_MAKER}"
  VIAddVersionKey /LANG=${LANGUAGE} "LegalCopyright" "© ${PRODUCT_MAKER}"
  VIAddVersionKey /LANG=${LANGUAGE} "FileVersion" "${PRODUCT_VERSION}"
  VIAddVersionKey /LANG=${LANGUAGE} "ProductVersion" "${PRODUCT_VERSION}"
!macroend
VIProductVersion "${PRODUCT_VERSION}"
VIFileVersion "${PRODUCT_VERSION}"
!insertmacro VersionTexts ${LANG_ENGLISH} "${PRODUCT_NAME_ENGLISH}"
!insertmacro VersionTexts ${LANG_SIMPCHINESE} "${PRODUCT_NAME}"

!ifdef SIGN_COMMAND
  !uninstfinalize '${SIGN_COMMAND} "%1" Uninstall.exe' = 0
  !finalize '${SIGN_COMMAND} "%1"' = 0
!endif

; Shows why nothing is done, unless silent, and ends.
!macro Refuse CODE TEXT
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  SetErrorLevel ${CODE}
  Quit
!macroend

; Ends the installing or removing with its reason in the window, unless silent.
!macro Fail CODE TEXT
  SetErrorLevel ${CODE}
  MessageBox MB_OK|MB_ICONSTOP "${TEXT}" /SD IDOK
  Abort "${TEXT}"
!macroend

!macro FailOnErrors CODE TEXT
  ${If} ${Errors}
    !insertmacro Fail ${CODE} "${TEXT}"
  ${EndIf}
!macroend

; Runs in setup and uninstaller before anything else.
!macro CheckStart
  SetRegView 64
  SetShellVarContext all
  UserInfo::GetAccountType ; XP and a switched-off account control start us without asking for an administrator
  Pop $0
  ${If} $0 != "Admin"
    !insertmacro Refuse ${EXIT_NOT_ELEVATED} "$(NotElevated)"
  ${EndIf}
  ; A file that only administrators can make: a mutex could be held by anybody, who would then keep the product from being
  ; upgraded or removed. Never closed (FILE_FLAG_DELETE_ON_CLOSE), so the system deletes it however we end.
  System::Call 'kernel32::CreateFileW(w "$SYSDIR\TarvoInputSetup.lock", i 0x40000000, i 0, p 0, i 2, i 0x04000000, p 0)p.r0 ?e'
  Pop $1
  ${If} $0 P= -1
  ${AndIf} $1 = 32 ; ERROR_SHARING_VIOLATION
    !insertmacro Refuse ${EXIT_BUSY} "$(Busy)"
  ${EndIf}
!macroend

!macro ReportRestart
  ${If} ${RebootFlag}
    SetErrorLevel ${EXIT_RESTART_NEEDED}
  ${EndIf}
!macroend

!include replaced_files.nsh
!include layout_installer.nsh

Function .onInit
  ; A 32-bit Windows does not start this program at all, and the oldest that does is XP x64. An ARM64 one runs it, but
  ; its own programs could not load the modules.
  ${IfNot} ${IsNativeAMD64}
    !insertmacro Refuse ${EXIT_UNSUPPORTED_SYSTEM} "$(UnsupportedSystem)"
  ${EndIf}
  !insertmacro CheckStart

  ReadRegStr $1 HKLM "${PRODUCT_KEY}" "Version"
  ${VersionCompare} "$1" "${PRODUCT_VERSION}" $0
  ${If} $0 = 1
    !insertmacro Refuse ${EXIT_NEWER_INSTALLED} "$(NewerInstalled)"
  ${EndIf}
  ; An upgrade stays where the product is, or files would be left behind there.
  ReadRegStr $1 HKLM "${PRODUCT_KEY}" "InstallPath"
  ${If} $1 != ""
    StrCpy $INSTDIR $1
  ${EndIf}
FunctionEnd

Function OnCancel
  GetErrorLevel $0
  ${If} $0 = -1 ; closing the window after a failure keeps that failure's code
    SetErrorLevel ${EXIT_CANCELLED}
  ${EndIf}
FunctionEnd

; Also called when the system ends the writing of a file, with no code set.
Function .onInstFailed
  GetErrorLevel $0
  ${If} $0 = -1
    SetErrorLevel ${EXIT_FILES_FAILED}
  ${ElseIf} $0 <> ${EXIT_FILES_FAILED}
    Return
  ${EndIf}
  SetOutPath $TEMP ; the current folder cannot be removed
  Delete "$INSTDIR\TarvoLayout.exe.new"
  Delete "$INSTDIR\TarvoReport.exe.new"
  Delete "$INSTDIR\Uninstall.exe.new"
  Delete "$SYSDIR\TarvoPY.ime.new"
  Delete "$SYSDIR\TarvoTSF.ime.new"
  RMDir "$INSTDIR"
FunctionEnd

; An upgrade runs no --uninstall first. That would take the layout out of the user's list and the following --install
; would append it: its position would be lost. Other users' lists would go on naming a layout that is gone, or one that
; came back under another identifier, and the system would drop a text service from every user's order. Without it
; --install finds the layout and the lists as they are and only refreshes the text.
Section
  ; First everything is written beside what is there, so that a full disk leaves an installed product as it was. The
  ; modules are born in the system directory: a file keeps the access rights of the folder that it was made in, and apps
  ; in a container may read here.
  SetOutPath $INSTDIR
  SetOverwrite try
  ClearErrors
  File "/oname=$INSTDIR\TarvoLayout.exe.new" "${FILES}\TarvoLayout.exe"
  File "/oname=$INSTDIR\TarvoReport.exe.new" "${FILES}\TarvoReport.exe"
  File "/oname=$SYSDIR\TarvoPY.ime.new" "${FILES}\TarvoPY.ime"
  File "/oname=$SYSDIR\TarvoTSF.ime.new" "${FILES}\TarvoTSF.ime"
  WriteUninstaller "$INSTDIR\Uninstall.exe.new"
  !insertmacro FailOnErrors ${EXIT_FILES_FAILED} "$(FilesFailed)"
  !insertmacro PutInPlace "$INSTDIR\TarvoLayout.exe"
  !insertmacro PutInPlace "$INSTDIR\TarvoReport.exe"
  !insertmacro PutInPlace "$INSTDIR\Uninstall.exe"
  !insertmacro PutInPlace "$SYSDIR\TarvoPY.ime"
  !insertmacro PutInPlace "$SYSDIR\TarvoTSF.ime"

  ; The product's other programs read these two, in the native view.
  WriteRegStr HKLM "${PRODUCT_KEY}" "Version" "${PRODUCT_VERSION}"
  WriteRegStr HKLM "${PRODUCT_KEY}" "InstallPath" "$INSTDIR"

  WriteRegStr HKLM "${ENTRY_KEY}" "DisplayName" "$(ProductName)"
  WriteRegStr HKLM "${ENTRY_KEY}" "DisplayVersion" "${PRODUCT_VERSION}"
  WriteRegStr HKLM "${ENTRY_KEY}" "Publisher" "${PRODUCT_MAKER}"
  WriteRegStr HKLM "${ENTRY_KEY}" "DisplayIcon" "$INSTDIR\Uninstall.exe,0"
  WriteRegStr HKLM "${ENTRY_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${ENTRY_KEY}" "UninstallString" '"$INSTDIR\Uninstall.exe"'
  WriteRegStr HKLM "${ENTRY_KEY}" "QuietUninstallString" '"$INSTDIR\Uninstall.exe" /S'
  WriteRegDWORD HKLM "${ENTRY_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${ENTRY_KEY}" "NoRepair" 1
  WriteRegDWORD HKLM "${ENTRY_KEY}" "VersionMajor" ${PRODUCT_VERSION_MAJOR}
  WriteRegDWORD HKLM "${ENTRY_KEY}" "VersionMinor" ${PRODUCT_VERSION_MINOR}
  SectionGetSize 0 $0 ; in KiB, but for the uninstaller
  ${GetSize} $INSTDIR "/M=Uninstall.exe /S=0K /G=0" $1 $2 $3
  IntOp $0 $0 + $1
  WriteRegDWORD HKLM "${ENTRY_KEY}" "EstimatedSize" $0

  Push "--install"
  Call RunLayoutInstaller
  !insertmacro FailOnErrors ${EXIT_REGISTRATION_FAILED} "$(NotRegistered)"
  Call FindRegistration
  ${If} $R1 = 0
    !insertmacro Fail ${EXIT_REGISTRATION_FAILED} "$(NotRegistered)"
  ${EndIf}
  !insertmacro ReportRestart
SectionEnd

Function un.onInit
  !insertmacro CheckStart
FunctionEnd

; Nothing is removed but what the setup put there, and no module before its registration is gone: an entry that names a
; missing module could be removed by no one.
Section Uninstall
  SetOutPath $INSTDIR
  Push "--uninstall"
  Call un.RunLayoutInstaller
  !insertmacro FailOnErrors ${EXIT_REGISTRATION_FAILED} "$(NotStarted)"
  Call un.FindRegistration
  ${If} $R0 <> 0
    SetErrorLevel ${EXIT_REGISTRATION_FAILED}
    MessageBox MB_YESNO|MB_ICONEXCLAMATION|MB_DEFBUTTON2 "$(StillRegistered)" /SD IDNO IDYES remove_all_the_same
    Abort "$(StillRegistered)"
    remove_all_the_same:
  ${EndIf}

  SetOutPath $TEMP ; the current folder cannot be removed
  !insertmacro RemoveFile "$SYSDIR\TarvoTSF.ime"
  !insertmacro RemoveFile "$SYSDIR\TarvoPY.ime"
  !insertmacro RemoveFile "$INSTDIR\TarvoLayout.exe"
  !insertmacro RemoveFile "$INSTDIR\TarvoReport.exe"
  Delete "$INSTDIR\Uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${ENTRY_KEY}"
  DeleteRegValue HKLM "${PRODUCT_KEY}" "Version"
  DeleteRegValue HKLM "${PRODUCT_KEY}" "InstallPath"
  DeleteRegKey /ifempty HKLM "${PRODUCT_KEY}"
  !insertmacro ReportRestart
SectionEnd
