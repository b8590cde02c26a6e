@echo off
rem Runs the library's tests on this machine and writes the folder "results" beside this file. Needs no tool and no
rem installation; takes some ten minutes. "/nopause" does not wait for a key at the end.
pushd "%~dp0"
bin\evidence.exe %*
set code=%errorlevel%
popd
echo.
if %code%==0 echo All is as assumed.
if not %code%==0 echo Something differs: see results\report.html.
if /i not "%~1"=="/nopause" pause
exit /b %code%
