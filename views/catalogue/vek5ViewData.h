#ifndef VEK5VIEWDATA_H
#define VEK5VIEWDATA_H

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include "ParameterInformation.h"

// Model-neutral holder of the parameter lists the views lay out. A subclass
// per model range fills the lists in its constructor and owns the records.
class vek5ViewData : public QObject
{
    Q_OBJECT
public:
    explicit vek5ViewData(QObject* parent = nullptr);
    ~vek5ViewData() override;

    virtual QList<ParameterInformation*> getDeviceData();
    virtual QList<ParameterInformation*> getBatteryData();
    virtual QList<ParameterInformation*> getRecInvData();
    virtual QList<ParameterInformation*> getInputData();
    virtual QList<ParameterInformation*> getOutputData();
    virtual QList<ParameterInformation*> getBypassData();
    virtual QList<ParameterInformation*> getBasicConfig();
    virtual QList<ParameterInformation*> getBatteryConfig();
    virtual QList<ParameterInformation*> getAdjustConfig();
    virtual QList<ParameterInformation*> getSpecialConfig();
    virtual QList<ParameterInformation*> getDevInfoConfig();
    virtual QStringList getAlarmList();
    virtual int getDevCode();

    // Appends a new record to `list` and returns it for the caller to finish.
    static ParameterInformation* addDataDesc(QList<ParameterInformation*>& list, QString label,
                                             QString valueText, QString unit, float ratio,
                                             int minRaw, int maxRaw);

protected:
    int devCode = 0;
    QList<ParameterInformation*> deviceData;
    QList<ParameterInformation*> batteryData;
    QList<ParameterInformation*> recInvData;
    QList<ParameterInformation*> inputData;
    QList<ParameterInformation*> outputData;
    QList<ParameterInformation*> bypassData;
    QList<ParameterInformation*> basicConfig;
    QList<ParameterInformation*> batteryConfig;
    QList<ParameterInformation*> adjustConfig;
    QList<ParameterInformation*> specialConfig;
    QList<ParameterInformation*> devInfoConfig;
    QStringList alarmList;
};

#endif // VEK5VIEWDATA_H
