// Types of the element that kvmon.js defines.

/** Names of the control's events and their arguments; the `detail` of each DOM event. */
export interface TR450ClientEventMap {
  OnLogout: CustomEvent<[reason: number]>;
  OnNeedGetNewVersion: CustomEvent<[param: number]>;
  OnLogin: CustomEvent<[param: number]>;
  /** The number of the language that the user chose. */
  OnChgLanguage: CustomEvent<[language: number]>;
  /** 1 or 2, for the pages around the control. */
  OnGotoPage: CustomEvent<[param: number]>;
  /** Never raised. */
  OnSetManualRecording: CustomEvent<[param: number]>;
  OnGotoServer: CustomEvent<[param: number, url: string]>;
  /**
   * The console, or a `Command`, wants something of the browser around it. The element does what a page can do;
   * a page that does it itself calls `preventDefault`. `docs/web.md` has the names.
   */
  browsercommand: CustomEvent<{name: string, value: number | string | null}>;
  /** The user wants a snapshot here; a page that takes it itself calls `preventDefault`. */
  picture: CustomEvent<{file: File, use: 'save' | 'copy'}>;
  /** A login has ended that its user did not end: another language made the console anew without `AutoStart`. */
  loginend: CustomEvent<null>;
  /** `PreparePlaybackData` has tried a share of its list. */
  playbackshare: CustomEvent<PlaybackShare>;
  /** There is a session, and the properties give what its control has. */
  sessionstart: CustomEvent<null>;
  /** The session has ended: the host has gone, or refused it. */
  sessionend: CustomEvent<null>;
}

export interface PlaybackShare {
  share: string;
  /** 0 connected, else the number of the error. */
  result: number;
  /** The folder, on the host's machine, in which programs read it; empty when there is none. */
  path: string;
  /** Why there is none, in the console's language. */
  words: string;
}

export interface TR450Client extends HTMLElement {
  // Persisted properties; also attributes, and <param> children. What is set before the element stands in a
  // document is taken over with the session's start; from then on they give what the control has. Names count in
  // any case.
  ServerIP: string;
  ServerPort: number;
  AutoStart: number;
  /** Can be set; reading it gives nothing. */
  get DefServerName(): undefined;
  set DefServerName(name: string);
  HelpPath: string;
  /** Base64 of user, colon and password. */
  AuthData: string;
  /** The language's number as text. */
  Language: string;

  /** 0, or -1 when there is no console yet. Progress is told by events. */
  Login(user?: string, password?: string): Promise<number>;
  Logout(): Promise<null>;
  Command(id: number, param?: number | string): Promise<number | null>;
  /** 1. */
  SetLanguage(language: number): Promise<number>;
  GetLanguage(): Promise<number>;
  /** 0; null when an argument that has to be text is not. */
  CheckCamera(
      address: string, port: string, type: unknown, user?: string, password?: string): Promise<number | null>;
  AutoLogin(auth: string): Promise<null>;
  /** 0, or -1 when a share could not be connected. `playbackshare` tells of each before. */
  PreparePlaybackData(auth: string, shares: string): Promise<number>;
  UnpreparePlaybackData(): Promise<null>;
  TestEMap(auth: string): Promise<null>;
  IELogout(): Promise<null>;
  /** The named views, a name a line. */
  ViewNames(): Promise<string>;
  /** 1, or 0 when there is no view of this name. Before there is a wall it opens with it. */
  OpenView(name: string): Promise<number>;
  /** The present wall under this name: 1, or 0 when there is no wall or no place for it. */
  SaveView(name: string): Promise<number>;

  /** The element, for scripts of old pages that ask an object for its control. */
  readonly object: TR450Client;
  /** 4: it can be called. */
  readonly readyState: number;

  /** As old pages do it: the handler gets the event's arguments. */
  attachEvent(name: string, handler: (...parameters: any[]) => void): boolean;
  detachEvent(name: string, handler: (...parameters: any[]) => void): void;

  addEventListener<K extends keyof TR450ClientEventMap>(
      type: K, listener: (this: TR450Client, event: TR450ClientEventMap[K]) => void,
      options?: boolean | AddEventListenerOptions): void;
  addEventListener(
      type: string, listener: EventListenerOrEventListenerObject,
      options?: boolean | AddEventListenerOptions): void;
}

declare global {
  interface HTMLElementTagNameMap {
    'tr450-client': TR450Client;
  }
}
