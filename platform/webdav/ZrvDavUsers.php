<?php
// Basic authentication against a fixed table of accounts. A request under
// another account's files is refused like a wrong password, so each account
// sees only its own tree.

class ZrvDavUsers extends \Sabre\DAV\Auth\Backend\AbstractBasic
{
    private $passwords;
    private $owner;

    // $passwords: user => password; $owner: the account whose files are asked for, or null.
    public function __construct(array $passwords, $owner)
    {
        $this->passwords = $passwords;
        $this->owner = $owner;
    }

    protected function validateUserPass($username, $password)
    {
        if (!isset($this->passwords[$username]) || $this->passwords[$username] !== $password) {
            return false;
        }
        return $this->owner === null || $this->owner === $username;
    }

    // "user:password,user2:password2", as the stack passes it in the environment.
    public static function parse($text)
    {
        $passwords = array();
        foreach (explode(',', (string)$text) as $pair) {
            $colon = strpos($pair, ':');
            if ($colon !== false && $colon > 0) {
                $passwords[substr($pair, 0, $colon)] = substr($pair, $colon + 1);
            }
        }
        return $passwords;
    }
}
