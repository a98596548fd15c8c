// Hand-written registration of the social records: the setters through which mapping applies
// their rules. Called once from registerRecordClasses().
#pragma once

namespace dm {

void registerSocialBehaviour();

}  // namespace dm
