; Running TarvoLayout.exe, and whether the input method is registered, which its exit code does not say.

; "RunLayoutInstaller" and "FindRegistration" for the setup, and with the prefix "un." for the uninstaller.
!macro LayoutInstaller UN

; Runs $INSTDIR\TarvoLayout.exe, with its folder current, with the option on the stack. Waits for it and for the
; regsvr32.exe that it starts without waiting, which must have done with the module before that is removed: both are in
; the job that we enter here. Before Windows 8 a process that is in a job already can enter no other, but there nothing
; is started. Error flag: it could not be started, or rejected its command line.
Function ${UN}RunLayoutInstaller
  Pop $0
  System::Call 'kernel32::CreateJobObjectW(p 0, p 0)p.r1'
  System::Call 'kernel32::AssignProcessToJobObject(p r1, p -1)i.r2' ; -1: this process
  ClearErrors
  ExecWait '"$INSTDIR\TarvoLayout.exe" $0' $3
  ${If} ${Errors}
    SetErrors ; the question takes the flag back
    Return
  ${EndIf}
  ${If} $2 <> 0
    ${ForEach} $4 1 600 + 1 ; a minute
      System::Call '*(l, l, l, l, i, i, i, i)p.r5' ; JOBOBJECT_BASIC_ACCOUNTING_INFORMATION
      System::Call 'kernel32::QueryInformationJobObject(p r1, i 1, p r5, i 48, p 0)i.r6'
      System::Call '*$5(l, l, l, l, i, i, i.r7, i)'
      System::Free $5
      ${If} $6 = 0
      ${OrIf} $7 <= 1 ; active processes
        ${Break}
      ${EndIf}
      Sleep 100
    ${Next}
  ${EndIf}
  ClearErrors
  ${If} $3 <> 0
    SetErrors
  ${EndIf}
FunctionEnd

; Sets $R0 to whether anything of the input method is registered, and $R1 to whether it is what this Windows is to have:
; the text service since Windows 8, judged by kernel32.dll's file version as the layout installer does, else the layout.
Function ${UN}FindRegistration
  StrCpy $R0 0
  StrCpy $R2 0 ; the layout
  ${For} $0 0 9999
    EnumRegKey $1 HKLM "SYSTEM\CurrentControlSet\Control\Keyboard Layouts" $0
    ${IfThen} $1 == "" ${|} ${Break} ${|}
    ReadRegStr $2 HKLM "SYSTEM\CurrentControlSet\Control\Keyboard Layouts\$1" "Ime File"
    ${GetFileName} $2 $2
    ${If} $2 == "TarvoPY.ime"
      StrCpy $R2 1
    ${EndIf}
  ${Next}
  StrCpy $R3 0 ; the text service
  ${For} $0 0 9999
    EnumRegKey $1 HKLM "SOFTWARE\Microsoft\CTF\TIP" $0
    ${IfThen} $1 == "" ${|} ${Break} ${|}
    ReadRegStr $2 HKLM "SOFTWARE\Classes\CLSID\$1\InProcServer32" ""
    ExpandEnvStrings $2 $2
    ${If} $2 == "$SYSDIR\TarvoTSF.ime"
      StrCpy $R3 1
    ${EndIf}
  ${Next}
  IntOp $R0 $R2 | $R3
  GetDLLVersion "$SYSDIR\kernel32.dll" $0 $1
  ${If} $0 >= 0x00060002
    StrCpy $R1 $R3
  ${Else}
    StrCpy $R1 $R2
  ${EndIf}
FunctionEnd

!macroend
!insertmacro LayoutInstaller ""
!insertmacro LayoutInstaller "un."
