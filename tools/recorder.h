/* What a handler would do, found out by calling it: here the functions of
 * reply/answers.h write down how they are called. */
#pragma once

#include <string>

#include "module/routes.h"
#include "reply/record.h"

enum class AnswerKind {
    ReadRecord,
    ReadRecordById,
    ReadList,
    WriteRecord,
    WriteItem,
    WriteIndexedRecords,
    CreateItem,
    SubmitRecord,
    RunCommand,
    RunCommandById,
    DeleteItem,
    AnswerEmpty,
    AnswerFixed
};

struct Description {
    AnswerKind answer = AnswerKind::AnswerEmpty;
    uint32_t command = 0;           /* 0: none */
    const Record *record = nullptr; /* that is sent or, where it is read, received */
    const Record *result = nullptr; /* of SubmitRecord */
    int most = 0;                   /* records of WriteIndexedRecords */
};

Description describe(const Action &action);

/* Regular expressions of the route table have one identifier: "/api/stream/{id}". */
std::string readable_path(const Route &route);
