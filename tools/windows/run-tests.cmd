@echo off
rem Runs the test programs of this folder one after the other and says which failed.
setlocal enabledelayedexpansion
cd /d "%~dp0"
set "PATH=%~dp0..;%PATH%"
set passed=0
set failed=0
for %%t in (tst_*.exe) do (
    %%t
    if errorlevel 1 (set /a failed+=1 & echo FAILED: %%t) else set /a passed+=1
)
echo %passed% passed, %failed% failed
exit /b %failed%
