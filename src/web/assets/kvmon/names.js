  // --- the names of the control's members

  // Persisted properties, in the order in which they are handed over.
  const PROPERTIES = {
    ServerIP: String, ServerPort: Number, AutoStart: Number, DefServerName: String, HelpPath: String,
    AuthData: String, Language: String,
  };
  const METHODS = ['Login', 'Logout', 'Command', 'SetLanguage', 'GetLanguage', 'CheckCamera', 'AutoLogin',
    'PreparePlaybackData', 'UnpreparePlaybackData', 'TestEMap', 'IELogout',
    'ViewNames', 'OpenView', 'SaveView'];
  const EVENTS = ['OnLogout', 'OnNeedGetNewVersion', 'OnLogin', 'OnChgLanguage', 'OnGotoPage',
    'OnSetManualRecording', 'OnGotoServer'];
  const byLowerCase = (names) => new Map(names.map((name) => [name.toLowerCase(), name]));
  const MEMBER_NAMES = byLowerCase([...Object.keys(PROPERTIES), ...METHODS, 'attachEvent', 'detachEvent']);
  const EVENT_NAMES = byLowerCase(EVENTS);
  const memberOf = (name) => MEMBER_NAMES.get(name.toLowerCase());
  const eventOf = (name) => EVENT_NAMES.get(String(name).toLowerCase());
  const DEFAULTS = {
    ServerIP: '127.0.0.1', ServerPort: 80, AutoStart: 0, DefServerName: '', HelpPath: '', AuthData: '',
    Language: '0',
  };

