#include "analysis/PDAXMLAnalysis.h"

#include "analysis/Dispatcher.h"
#include "analysis/Transactions.h"
#include "util/LockConfig.h"

#include <QDebug>

// The face that hosts see: every member hands on to the floor behind it.
// NOLINTBEGIN(readability-convert-member-functions-to-static): hosts call members of an object

CPDAXMLAnalysis::CPDAXMLAnalysis() {
    LoadLockConfig();
}

CPDAXMLAnalysis::~CPDAXMLAnalysis() {
    qDebug().noquote() << "~CPDAXMLAnalysis";
}

int CPDAXMLAnalysis::PDA_CommonCall(const char* inJson, int inLen, char* outJson, int* outLen) {
    return dispatch(inJson, inLen, outJson, outLen);
}

int CPDAXMLAnalysis::Init(char* pdaNumber, char* factory, char* sn, char* vender, char* retCode) {
    return transactions::init({pdaNumber, factory}, {{sn, vender, retCode}, {}});
}

int CPDAXMLAnalysis::GetInfo(char* sn, char* bleVersion, char* pdaVersion, char* retCode) {
    return transactions::getInfo({}, {{sn, bleVersion, pdaVersion, retCode}, {}});
}

void CPDAXMLAnalysis::ConvertUTF8ToANSI(char* text, QString& out) {
    out = QString::fromUtf8(text);
}

// NOLINTEND(readability-convert-member-functions-to-static)
