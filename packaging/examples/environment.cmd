@echo off
rem The variables that backint needs, for a run by hand. Put your database's values in, then: environment.cmd
set ORACLE_SID=DEM
rem The parameter file is in its directory Database.
set ORACLE_HOME=C:\oracle\DEM
rem The traces are in its directory saptrace. Create that directory, or there is no trace.
set SAPDATA_HOME=C:\oracle\DEM
rem The work directories: input and output files without a full path are there.
set SAPBACKUP=C:\oracle\DEM\sapbackup
set SAPARCH=C:\oracle\DEM\saparch

rem What the calling tool says about itself; BRBACKUP and BRARCHIVE set these three. BRARCHIVE sets BI_CALLER=BRARCHIVE,
rem which makes SAPARCH the work directory, and BI_BACKUP=ARCHIVE; a partial backup has BI_BACKUP=PARTIAL.
set BI_CALLER=BRBACKUP
set BI_BACKUP=FULL
set BI_REQUEST=NEW

rem The configuration of the backup server. Needed only if it is in another place than this one, then also by the user
rem who runs BRBACKUP.
set KORVO_CONFIG=C:\ProgramData\korvo\korvo.ini
