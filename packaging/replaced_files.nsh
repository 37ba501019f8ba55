; Files that may be in use. Every program of the session has the modules loaded, so they can neither be overwritten nor
; deleted; but a loaded file can be renamed. The old one steps aside as FILE.old1 and is deleted now or at the next
; restart, and the new one is in place at once: programs that start from now on load it.

; Sets $1 to a free name beside the file $0 and moves the file there. Error flag: it stays where it is.
!macro MoveAside
  StrCpy $2 0
  ${Do}
    IntOp $2 $2 + 1
    StrCpy $1 "$0.old$2"
  ${LoopWhile} ${FileExists} $1
  ClearErrors
  Rename $0 $1
!macroend

; Puts FILE.new in place of FILE, or fails the setup.
!macro PutInPlace FILE
  StrCpy $0 "${FILE}"
  Call PutInPlace
  !insertmacro FailOnErrors ${EXIT_FILES_FAILED} "$(FilesFailed)"
!macroend
Function PutInPlace
  Delete "$0.old*" ; left by earlier upgrades and in use no more
  ${If} ${FileExists} $0
    !insertmacro MoveAside
    ${If} ${Errors}
      ; Open in a program that does not allow it, so only the restart can do it.
      ClearErrors
      Rename /REBOOTOK "$0.new" $0
      Return
    ${EndIf}
    Rename "$0.new" $0
    ${If} ${Errors}
      Rename $1 $0
      SetErrors
      Return
    ${EndIf}
    Delete /REBOOTOK $1
  ${EndIf}
  ClearErrors
  ${IfNot} ${FileExists} $0
    Rename "$0.new" $0
  ${EndIf}
FunctionEnd

; Removes FILE, and what PutInPlace moved aside. It is the name aside that is deleted at the restart: a setup that runs
; before it puts a new FILE there, which must stay.
!macro RemoveFile FILE
  StrCpy $0 "${FILE}"
  Call un.RemoveFile
!macroend
Function un.RemoveFile
  Delete "$0.new" ; or a restart that is due would put it in place
  Delete /REBOOTOK "$0.old*"
  ClearErrors
  Delete $0
  ${If} ${Errors}
    !insertmacro MoveAside
    ${If} ${Errors}
      Delete /REBOOTOK $0
    ${Else}
      Delete /REBOOTOK $1
    ${EndIf}
  ${EndIf}
FunctionEnd
