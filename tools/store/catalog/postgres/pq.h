// libpq, loaded when the first database is used.
#pragma once

#include <libpq-fe.h>

#ifdef PQ_LIBRARY
#include "platform/late_library.h"

#define PQcancel LATE_FUNCTION(PQ_LIBRARY, PQcancel)
#define PQclear LATE_FUNCTION(PQ_LIBRARY, PQclear)
#define PQcmdStatus LATE_FUNCTION(PQ_LIBRARY, PQcmdStatus)
#define PQcmdTuples LATE_FUNCTION(PQ_LIBRARY, PQcmdTuples)
#define PQconnectdbParams LATE_FUNCTION(PQ_LIBRARY, PQconnectdbParams)
#define PQconninfoFree LATE_FUNCTION(PQ_LIBRARY, PQconninfoFree)
#define PQconninfoParse LATE_FUNCTION(PQ_LIBRARY, PQconninfoParse)
#define PQconsumeInput LATE_FUNCTION(PQ_LIBRARY, PQconsumeInput)
#define PQenterPipelineMode LATE_FUNCTION(PQ_LIBRARY, PQenterPipelineMode)
#define PQerrorMessage LATE_FUNCTION(PQ_LIBRARY, PQerrorMessage)
#define PQexec LATE_FUNCTION(PQ_LIBRARY, PQexec)
#define PQfinish LATE_FUNCTION(PQ_LIBRARY, PQfinish)
#define PQfreeCancel LATE_FUNCTION(PQ_LIBRARY, PQfreeCancel)
#define PQfreemem LATE_FUNCTION(PQ_LIBRARY, PQfreemem)
#define PQftype LATE_FUNCTION(PQ_LIBRARY, PQftype)
#define PQgetCancel LATE_FUNCTION(PQ_LIBRARY, PQgetCancel)
#define PQgetResult LATE_FUNCTION(PQ_LIBRARY, PQgetResult)
#define PQgetisnull LATE_FUNCTION(PQ_LIBRARY, PQgetisnull)
#define PQgetlength LATE_FUNCTION(PQ_LIBRARY, PQgetlength)
#define PQgetvalue LATE_FUNCTION(PQ_LIBRARY, PQgetvalue)
#define PQisBusy LATE_FUNCTION(PQ_LIBRARY, PQisBusy)
#define PQntuples LATE_FUNCTION(PQ_LIBRARY, PQntuples)
#define PQpipelineSync LATE_FUNCTION(PQ_LIBRARY, PQpipelineSync)
#define PQresultErrorField LATE_FUNCTION(PQ_LIBRARY, PQresultErrorField)
#define PQresultErrorMessage LATE_FUNCTION(PQ_LIBRARY, PQresultErrorMessage)
#define PQresultStatus LATE_FUNCTION(PQ_LIBRARY, PQresultStatus)
#define PQsendPrepare LATE_FUNCTION(PQ_LIBRARY, PQsendPrepare)
#define PQsendQueryParams LATE_FUNCTION(PQ_LIBRARY, PQsendQueryParams)
#define PQsendQueryPrepared LATE_FUNCTION(PQ_LIBRARY, PQsendQueryPrepared)
#define PQserverVersion LATE_FUNCTION(PQ_LIBRARY, PQserverVersion)
#define PQsetNoticeReceiver LATE_FUNCTION(PQ_LIBRARY, PQsetNoticeReceiver)
#define PQsetSingleRowMode LATE_FUNCTION(PQ_LIBRARY, PQsetSingleRowMode)
#define PQsocket LATE_FUNCTION(PQ_LIBRARY, PQsocket)
#define PQstatus LATE_FUNCTION(PQ_LIBRARY, PQstatus)
#endif
