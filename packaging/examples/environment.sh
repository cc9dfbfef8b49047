# The variables that backint needs, for a run by hand. Put your database's values in, then: . ./environment.sh
export ORACLE_SID=DEM
# The parameter file is in its directory Database.
export ORACLE_HOME=/oracle/DEM
# The traces are in its directory saptrace. Create that directory, or there is no trace.
export SAPDATA_HOME=/oracle/DEM
# The work directories: input and output files without a full path are there.
export SAPBACKUP=/oracle/DEM/sapbackup
export SAPARCH=/oracle/DEM/saparch

# What the calling tool says about itself; BRBACKUP and BRARCHIVE set these three. BRARCHIVE sets BI_CALLER=BRARCHIVE,
# which makes SAPARCH the work directory, and BI_BACKUP=ARCHIVE; a partial backup has BI_BACKUP=PARTIAL.
export BI_CALLER=BRBACKUP
export BI_BACKUP=FULL
export BI_REQUEST=NEW

# The configuration of the backup server. Needed only if it is in another place than this one, then also by the user
# who runs BRBACKUP.
export KORVO_CONFIG=/etc/korvo/korvo.ini
