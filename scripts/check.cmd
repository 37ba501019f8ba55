@echo off
rem Runs the test programs beside this file and ends with "N passed, N failed". The status is 1 when one has failed.
setlocal
pushd "%~dp0"
ver
set passed=0
set failed=0
rem An archive holds no links. XP x64 has none, and making them takes an administrator: tests are skipped without.
set signed=signed_modules\signed
if not exist %signed%\link mklink /d %signed%\link system >nul 2>&1
if not exist %signed%\system\link.exe mklink %signed%\system\link.exe ..\unsigned.exe >nul 2>&1
for %%p in (*_tests.exe) do call :run %%p
popd
echo.
echo %passed% passed, %failed% failed
if not %failed%==0 exit /b 1
exit /b 0

:run
echo.
echo %1
set ended=no
.\%1 --gtest_brief=1 --gtest_color=no >%~n1.txt 2>&1
type %~n1.txt
rem Programs that a test starts write their results too, before its own.
for /f "tokens=1,2,4" %%a in (%~n1.txt) do (
  if "%%a"=="[==========]" set bad=%%b
  if "%%b"=="PASSED" set good=%%c
  if "%%b"=="PASSED" set /a bad-=%%c
  if "%%b"=="SKIPPED" set /a bad-=%%c
  if "%%b"=="PASSED" set ended=yes
)
if %ended%==no (
  echo %1 did not run to its end.
  set good=0
  set bad=1
)
set /a passed+=good
set /a failed+=bad
goto :eof
